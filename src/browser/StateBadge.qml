import QtQuick
import Quillmarsh.Hub

// The product's install state as a tinted capsule.
StatusBadge {
    objectName: "stateBadge"

    // A HubInstallState value (not `state`, which every Item already has).
    property int installState: HubInstallState.NotInstalled

    capsule: true
    text: {
        switch (installState) {
        case HubInstallState.Installed:
            return L10n.japanese ? "インストール済" : "Installed"
        case HubInstallState.Loading:
            return L10n.japanese ? "確認中..." : "Checking..."
        default:
            return L10n.japanese ? "未インストール" : "Not Installed"
        }
    }
    tint: installState === HubInstallState.Installed ? HubColors.withOpacity(HubColors.accent, 0.85)
                                                     : HubColors.textSecondary
    font.pixelSize: 11
    font.weight: Font.Medium
}
