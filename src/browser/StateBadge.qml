import QtQuick
import Quillmarsh.Hub

// The product's install state as a tinted capsule.
Rectangle {
    id: badge
    objectName: "stateBadge"

    // A HubInstallState value (not `state`, which every Item already has).
    property int installState: HubInstallState.NotInstalled

    readonly property string badgeText: {
        switch (installState) {
        case HubInstallState.Installed:
            return L10n.japanese ? "インストール済" : "Installed"
        case HubInstallState.Loading:
            return L10n.japanese ? "確認中..." : "Checking..."
        default:
            return L10n.japanese ? "未インストール" : "Not Installed"
        }
    }
    readonly property color stateColor: installState === HubInstallState.Installed
                                        ? HubColors.withOpacity(HubColors.accent, 0.85)
                                        : HubColors.textSecondary

    implicitWidth: labelText.implicitWidth + 16
    implicitHeight: labelText.implicitHeight + 6
    radius: height / 2
    color: HubColors.withOpacity(stateColor, 0.15)

    Accessible.role: Accessible.StaticText
    Accessible.name: badgeText

    Text {
        id: labelText
        objectName: "stateBadgeText"
        anchors.centerIn: parent
        text: badge.badgeText
        font.pixelSize: 11
        font.weight: Font.Medium
        color: badge.stateColor
    }
}
