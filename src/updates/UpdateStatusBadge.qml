import QtQuick
import Quillmarsh.Hub

// Icon and text for an update status, as in the updates table.
StatusBadge {
    // UpdateStatus.UpdateAvailable, UpToDate or NotInstalled.
    property int status: UpdateStatus.NotInstalled

    text: {
        switch (status) {
        case UpdateStatus.UpdateAvailable:
            return L10n.japanese ? "更新あり" : "Update available"
        case UpdateStatus.UpToDate:
            return L10n.japanese ? "最新版" : "Up to date"
        default:
            return L10n.japanese ? "未インストール" : "Not installed"
        }
    }
    tint: status === UpdateStatus.UpdateAvailable ? HubColors.accent
        : status === UpdateStatus.UpToDate ? HubColors.upToDate
        : HubColors.textSecondary
    icon: status === UpdateStatus.UpdateAvailable ? "qrc:/Quillmarsh/Hub/app/icons/status-update-available.svg"
        : status === UpdateStatus.UpToDate ? "qrc:/Quillmarsh/Hub/app/icons/status-up-to-date.svg"
        : "qrc:/Quillmarsh/Hub/app/icons/status-not-installed.svg"
    font.pixelSize: 12
    font.weight: status === UpdateStatus.UpdateAvailable ? Font.Medium : Font.Normal
}
