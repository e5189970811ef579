import QtQuick
import QtQuick.Layouts
import Quillmarsh.Hub

// One product's row: initials tile, name with badges and installed
// versions, then its install state and its one command.
Rectangle {
    id: card
    objectName: "productCard"

    // The card's row of ProductListModel, handed over whole by the list.
    required property var model
    readonly property string productId: model.productId
    readonly property string displayName: model.displayName
    readonly property string initials: model.initials
    readonly property string badgeLabel: model.badgeLabel
    readonly property bool hasCoupon: model.hasCoupon
    readonly property string couponCode: model.couponCode
    readonly property string couponLabel: model.couponLabel
    readonly property bool hasCouponLabel: model.hasCouponLabel
    readonly property url couponURL: model.couponURL
    readonly property url productPageURL: model.productPageURL
    readonly property url supportURL: model.supportURL
    readonly property int installState: model.installState
    readonly property bool updateAvailable: model.updateAvailable
    readonly property string downloadURL: model.downloadURL
    readonly property bool downloading: model.downloading
    readonly property string versionLine: model.versionLine
    readonly property string releaseNotes: model.releaseNotes

    // Tab or Backtab left the card's last or first stop.
    signal tabbedPast(Item from, bool forward)

    // The coupon, then the button: the stops Tab visits, in reading order.
    function tabStops() {
        const stops = []
        for (const stop of [coupon.item, actionSlot.item]) {
            if (stop && stop.visible && stop.enabled)
                stops.push(stop)
        }
        return stops
    }

    function focusTabStop(forward) {
        const stops = tabStops()
        if (stops.length === 0)
            return false
        stops[forward ? 0 : stops.length - 1].forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason)
        return true
    }

    function tab(from, forward) {
        const stops = tabStops()
        const next = stops.indexOf(from) + (forward ? 1 : -1)
        if (next >= 0 && next < stops.length)
            stops[next].forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason)
        else
            tabbedPast(from, forward)
    }

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

        // Takes the free width, so the state and button stay at the right;
        // cut off rather than reach under them when even that is too little.
        ColumnLayout {
            Layout.fillWidth: true
            Layout.minimumWidth: 0
            clip: true
            spacing: 4

            RowLayout {
                Layout.fillWidth: true
                spacing: 6

                // Short of room, the name, the category and the coupon all
                // give some up, each down to a few characters, so no badge
                // ever covers another or the state beside them.
                Text {
                    objectName: "productName"
                    // Whole pixels: the layout rounds, and a fraction short
                    // would elide a name that fits.
                    Layout.fillWidth: true
                    Layout.preferredWidth: Math.ceil(implicitWidth)
                    Layout.maximumWidth: Math.ceil(implicitWidth)
                    Layout.minimumWidth: Math.min(Math.ceil(implicitWidth), 48)
                    text: card.displayName
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    font.pixelSize: 13
                    font.weight: Font.Medium
                    color: HubColors.text
                }
                CategoryBadge {
                    Layout.fillWidth: true
                    Layout.maximumWidth: implicitWidth
                    Layout.minimumWidth: Math.min(implicitWidth, 30)
                    label: card.badgeLabel
                }
                // Badges, the version line and the command exist only while
                // they show: most cards have none of them, and every item a
                // card makes is paid for again by each card on screen.
                Loader {
                    active: card.updateAvailable
                    visible: active
                    // qmllint disable unqualified
                    sourceComponent: UpdateBadge { notes: card.releaseNotes }
                    // qmllint enable unqualified
                }
                Loader {
                    id: coupon
                    Layout.fillWidth: true
                    Layout.maximumWidth: implicitWidth
                    Layout.minimumWidth: Math.min(implicitWidth, 36)
                    active: card.hasCoupon
                    visible: active
                    // The card's ids are in scope here; this qmllint does not know it.
                    // qmllint disable unqualified
                    sourceComponent: CouponBadge {
                        id: couponBadge
                        code: card.couponCode
                        label: card.couponLabel
                        hasLabel: card.hasCouponLabel
                        openURL: card.couponURL
                        Keys.onTabPressed: () => card.tab(couponBadge, true)
                        Keys.onBacktabPressed: () => card.tab(couponBadge, false)
                    }
                    // qmllint enable unqualified
                }
                Item {
                    Layout.fillWidth: true
                }
            }

            Loader {
                active: card.versionLine !== ""
                visible: active
                // qmllint disable unqualified
                sourceComponent: Text {
                    objectName: "versionLine"
                    text: card.versionLine
                    textFormat: Text.PlainText
                    font.family: "monospace"
                    font.pixelSize: 11
                    color: HubColors.textSecondary
                }
                // qmllint enable unqualified
            }
        }

        RowLayout {
            spacing: 10

            StateBadge {
                installState: card.installState
            }
            // The one command the state calls for; nothing, not even
            // spacing, while the state is being probed.
            Loader {
                id: actionSlot
                visible: item !== null
                // On the slot, not the button: a button taking no clicks
                // while it downloads gets no hover either.
                HoverHandler { id: actionHover }
                sourceComponent: card.updateAvailable ? updateAction
                               : card.installState === HubInstallState.Installed ? supportAction
                               : card.installState === HubInstallState.NotInstalled ? learnMoreAction
                               : null
            }
        }
    }

    // qmllint disable unqualified
    Component {
        id: updateAction
        HubButton {
            id: updateButton
            objectName: "actionButton"
            size: "small"
            busy: card.downloading
            text: card.downloading ? "..." : (L10n.japanese ? "アップデート" : "Update")
            // The manager refuses a second download anyway; this just says so.
            enabled: !card.downloading
            onClicked: () => AppState.updateManager.downloadAndReveal(card.productId, card.downloadURL)
            Keys.onTabPressed: () => card.tab(updateButton, true)
            Keys.onBacktabPressed: () => card.tab(updateButton, false)
            HubToolTip {
                objectName: "progressTip"
                text: AppState.updateManager.downloadProgressTexts[card.productId] ?? ""
                visible: card.downloading && actionHover.hovered && text !== ""
                delay: 0
            }
        }
    }
    Component {
        id: supportAction
        SupportButton {
            id: supportButton
            objectName: "actionButton"
            text: L10n.japanese ? "サポート" : "Support"
            onClicked: () => Links.openUrl(card.supportURL)
            Keys.onTabPressed: () => card.tab(supportButton, true)
            Keys.onBacktabPressed: () => card.tab(supportButton, false)
        }
    }
    Component {
        id: learnMoreAction
        HubButton {
            id: learnMoreButton
            objectName: "actionButton"
            size: "small"
            text: L10n.japanese ? "詳細" : "Learn More"
            onClicked: () => Links.openUrl(card.productPageURL)
            Keys.onTabPressed: () => card.tab(learnMoreButton, true)
            Keys.onBacktabPressed: () => card.tab(learnMoreButton, false)
        }
    }
    // qmllint enable unqualified
}
