import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// One product's row: initials tile, name with badges and installed
// versions, then its install state and its one command.
Rectangle {
    id: card
    objectName: "productCard"

    // Straight from ProductListModel's roles.
    required property string productId
    required property string displayName
    required property string initials
    required property string badgeLabel
    required property bool hasCoupon
    required property string couponCode
    required property string couponLabel
    required property bool hasCouponLabel
    required property url couponURL
    required property url productPageURL
    required property url supportURL
    required property int installState
    required property bool updateAvailable
    required property string downloadURL
    required property bool downloading
    required property string versionLine

    implicitWidth: row.implicitWidth + 48
    implicitHeight: row.implicitHeight + 22
    color: updateAvailable ? HubColors.withOpacity(HubColors.accent, 0.04) : "transparent"

    RowLayout {
        id: row
        anchors {
            fill: parent
            leftMargin: 24
            rightMargin: 24
            topMargin: 11
            bottomMargin: 11
        }
        spacing: 14

        Rectangle {
            objectName: "initialsTile"
            Layout.preferredWidth: 38
            Layout.preferredHeight: 38
            radius: 8
            color: HubColors.surface

            Text {
                objectName: "initialsText"
                anchors.centerIn: parent
                text: card.initials
                textFormat: Text.PlainText
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: HubColors.accent
            }
        }

        // Takes the free width, so the state and button stay at the right.
        ColumnLayout {
            Layout.fillWidth: true
            Layout.minimumWidth: 0
            spacing: 4

            RowLayout {
                Layout.fillWidth: true
                spacing: 6

                Text {
                    objectName: "productName"
                    // Shrinks (elided) only when the row runs out of room.
                    // Whole pixels: the layout rounds, and a fraction short
                    // would elide a name that fits.
                    Layout.fillWidth: true
                    Layout.preferredWidth: Math.ceil(implicitWidth)
                    Layout.maximumWidth: Math.ceil(implicitWidth)
                    text: card.displayName
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    font.pixelSize: 13
                    font.weight: Font.Medium
                    color: HubColors.text
                }
                CategoryBadge {
                    label: card.badgeLabel
                }
                UpdateBadge {
                    visible: card.updateAvailable
                }
                CouponBadge {
                    visible: card.hasCoupon
                    code: card.couponCode
                    label: card.couponLabel
                    hasLabel: card.hasCouponLabel
                    openURL: card.couponURL
                }
                Item {
                    Layout.fillWidth: true
                }
            }

            Text {
                objectName: "versionLine"
                visible: text !== ""
                text: card.versionLine
                textFormat: Text.PlainText
                font.family: "monospace"
                font.pixelSize: 11
                color: HubColors.textSecondary
            }
        }

        RowLayout {
            spacing: 10

            StateBadge {
                installState: card.installState
            }
            Loader {
                id: action
                sourceComponent: card.updateAvailable ? updateButton
                               : card.installState === HubInstallState.Installed ? supportButton
                               : card.installState === HubInstallState.NotInstalled ? learnMoreButton
                               : null
                // Nothing, not even spacing, while the state is being probed.
                visible: item !== null
            }
        }
    }

    Component {
        id: updateButton

        HubButton {
            id: update
            objectName: "actionButton"
            size: "small"
            text: card.downloading ? "..." : (L10n.japanese ? "アップデート" : "Update")
            // The manager refuses a second download anyway; this just says so.
            enabled: !card.downloading
            onClicked: AppState.updateManager.downloadAndReveal(card.productId, card.downloadURL)

            contentItem: Row {
                spacing: 4

                Item {
                    visible: card.downloading
                    width: 10
                    height: 10
                    anchors.verticalCenter: parent.verticalCenter

                    BusyIndicator {
                        objectName: "downloadSpinner"
                        anchors.centerIn: parent
                        width: 16
                        height: 16
                        padding: 0
                        scale: 0.6
                        running: card.downloading
                        palette.dark: "black"
                    }
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: update.text
                    font: update.font
                    color: "black"
                }
            }
        }
    }

    Component {
        id: supportButton

        SupportButton {
            objectName: "actionButton"
            text: L10n.japanese ? "サポート" : "Support"
            onClicked: Links.openUrl(card.supportURL)
        }
    }

    Component {
        id: learnMoreButton

        HubButton {
            objectName: "actionButton"
            size: "small"
            text: L10n.japanese ? "詳細" : "Learn More"
            onClicked: Links.openUrl(card.productPageURL)
        }
    }
}
