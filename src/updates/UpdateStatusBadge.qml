import QtQuick
import QtQuick.Controls.impl
import Quillmarsh.Hub

// Icon and text for an update status, as in the updates table.
Row {
    id: badge

    // UpdateStatus.UpdateAvailable, UpToDate or NotInstalled.
    property int status: UpdateStatus.NotInstalled

    readonly property string text: {
        switch (status) {
        case UpdateStatus.UpdateAvailable:
            return L10n.japanese ? "更新あり" : "Update available"
        case UpdateStatus.UpToDate:
            return L10n.japanese ? "最新版" : "Up to date"
        default:
            return L10n.japanese ? "未インストール" : "Not installed"
        }
    }
    readonly property color tint: status === UpdateStatus.UpdateAvailable ? HubColors.accent
                                : status === UpdateStatus.UpToDate ? HubColors.upToDate
                                : HubColors.textSecondary

    // The room the badge may take; the text is shortened beyond it.
    property real maximumWidth: Infinity

    spacing: 5
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    IconImage {
        id: icon
        objectName: "statusIcon"
        anchors.verticalCenter: parent.verticalCenter
        source: badge.status === UpdateStatus.UpdateAvailable ? "qrc:/Quillmarsh/Hub/app/icons/status-update-available.svg"
              : badge.status === UpdateStatus.UpToDate ? "qrc:/Quillmarsh/Hub/app/icons/status-up-to-date.svg"
              : "qrc:/Quillmarsh/Hub/app/icons/status-not-installed.svg"
        sourceSize { width: 13; height: 13 }
        color: badge.tint
    }

    Text {
        objectName: "statusText"
        anchors.verticalCenter: parent.verticalCenter
        width: Math.min(implicitWidth, badge.maximumWidth - icon.width - badge.spacing)
        text: badge.text
        elide: Text.ElideRight
        font.pixelSize: 12
        font.weight: badge.status === UpdateStatus.UpdateAvailable ? Font.Medium : Font.Normal
        color: badge.tint
    }
}
