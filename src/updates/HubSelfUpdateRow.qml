import QtQuick
import QtQuick.Controls.impl
import QtQuick.Layouts
import Quillmarsh.Hub

// The hub's own row, always the first of the updates table. Its Update
// button hands over to the hub's self-updater.
Rectangle {
    id: row
    objectName: "hubSelfUpdateRow"

    readonly property int status: AppState.updateManager.hubStatus

    implicitHeight: columns.implicitHeight + 20
    color: status === UpdateStatus.UpdateAvailable ? HubColors.withOpacity(HubColors.accent, 0.05) : "transparent"

    RowLayout {
        id: columns
        anchors.fill: parent
        anchors.leftMargin: 20
        anchors.rightMargin: 20
        anchors.topMargin: 10
        anchors.bottomMargin: 10
        spacing: 0

        RowLayout {
            Layout.fillWidth: true
            spacing: 8
            IconImage {
                source: "qrc:/Quillmarsh/Hub/app/icons/hub-app.svg"
                sourceSize { width: 16; height: 16 }
                color: HubColors.accent
            }
            Text {
                objectName: "productName"
                Layout.fillWidth: true
                text: "Quillmarsh Hub"
                font.pixelSize: 13
                font.weight: Font.Medium
                color: HubColors.text
                elide: Text.ElideRight
            }
        }
        Text {
            objectName: "installedVersion"
            Layout.preferredWidth: 100
            text: AppState.updateManager.hubInstalledVersion
            font.pixelSize: 13
            font.family: "monospace"
            color: HubColors.textSecondary
            elide: Text.ElideRight
            rightPadding: 6
        }
        Text {
            objectName: "latestVersion"
            Layout.preferredWidth: 100
            text: AppState.updateManager.hubHasLatestVersion ? AppState.updateManager.hubLatestVersion : "\u2014"
            font.pixelSize: 13
            font.family: "monospace"
            color: HubColors.textSecondary
            elide: Text.ElideRight
            rightPadding: 6
        }
        Item {
            Layout.preferredWidth: 160
            implicitHeight: badge.implicitHeight
            UpdateStatusBadge {
                id: badge
                objectName: "statusBadge"
                anchors.verticalCenter: parent.verticalCenter
                // The hub is always installed: no badge says otherwise.
                visible: row.status !== UpdateStatus.NotInstalled
                status: row.status
            }
        }
        Item {
            Layout.preferredWidth: 90
            implicitHeight: updateButton.visible ? updateButton.implicitHeight : 0
            HubButton {
                id: updateButton
                objectName: "updateButton"
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                size: "small"
                visible: row.status === UpdateStatus.UpdateAvailable
                text: L10n.japanese ? "アップデート" : "Update"
                onClicked: AppState.updateManager.startHubSelfUpdate()
            }
        }
    }
}
