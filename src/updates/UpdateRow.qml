import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// One catalogue product in the updates table: name, installed and latest
// versions, status, and the Update button while an update is available.
Rectangle {
    id: row
    objectName: "updateRow"

    property string productId
    property string displayName
    property string installedLabel: "\u2014"
    property string latestLabel: "\u2014"
    property int status: UpdateStatus.NotInstalled
    property string downloadURL
    property bool downloading: false

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

        Text {
            objectName: "productName"
            Layout.fillWidth: true
            text: row.displayName
            font.pixelSize: 13
            color: HubColors.text
            elide: Text.ElideRight
        }
        Text {
            id: installed
            objectName: "installedVersion"
            Layout.preferredWidth: 100
            text: row.installedLabel
            font.pixelSize: 13
            font.family: "monospace"
            color: HubColors.textSecondary
            elide: Text.ElideRight
            rightPadding: 6

            // Several formats rarely fit the column: the whole list on hover.
            HoverHandler { id: installedHover }
            ToolTip {
                text: installed.text
                visible: installed.truncated && installedHover.hovered
                delay: 400
            }
        }
        Text {
            objectName: "latestVersion"
            Layout.preferredWidth: 100
            text: row.latestLabel
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
                status: row.status
                // A wide button (while downloading) may reach into this column.
                maximumWidth: parent.width - (updateButton.visible ? Math.max(0, updateButton.width - 90) + 8 : 0)
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
                enabled: !row.downloading
                text: row.downloading ? (L10n.japanese ? "ダウンロード中" : "Downloading")
                                      : (L10n.japanese ? "アップデート" : "Update")
                onClicked: AppState.updateManager.downloadAndReveal(row.productId, row.downloadURL)

                contentItem: Row {
                    spacing: 4
                    Item {
                        objectName: "downloadProgress"
                        visible: row.downloading
                        width: 12
                        height: 12
                        anchors.verticalCenter: parent.verticalCenter
                        BusyIndicator {
                            anchors.centerIn: parent
                            width: 20
                            height: 20
                            padding: 0
                            scale: 0.6
                            running: parent.visible
                            palette.dark: "black"
                        }
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        text: updateButton.text
                        font: updateButton.font
                        color: "black"
                    }
                }
            }
        }
    }
}
