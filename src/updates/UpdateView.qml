import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// The updates tab: the check button, the hub's row and one row per
// catalogue product with an update state, and when the last check ran.
Rectangle {
    id: root
    objectName: "updateView"

    readonly property var manager: AppState.updateManager

    color: HubColors.background

    // Focus coming back from the start of the window: the last row.
    function focusLast() {
        return rows.enter(false)
    }

    component Divider: Rectangle {
        Layout.fillWidth: true
        implicitHeight: 1
        color: HubColors.divider
    }

    component ColumnTitle: Text {
        Layout.minimumWidth: Layout.fillWidth ? 0 : Layout.preferredWidth
        font.pixelSize: 11
        font.weight: Font.Medium
        color: HubColors.textSecondary
        rightPadding: 6
        // A long title shrinks a little rather than lose its end.
        fontSizeMode: Text.HorizontalFit
        minimumPixelSize: 9
        elide: Text.ElideRight
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        RowLayout {
            objectName: "updatesHeader"
            Layout.fillWidth: true
            Layout.leftMargin: 20
            Layout.rightMargin: 20
            Layout.topMargin: 14
            Layout.bottomMargin: 14
            spacing: 8

            Text {
                objectName: "updatesTitle"
                text: L10n.japanese ? "アップデート" : "Updates"
                font.pixelSize: 16
                font.weight: Font.DemiBold
                color: HubColors.text
            }
            Item { Layout.fillWidth: true }
            HubButton {
                objectName: "updateAllButton"
                // Worth a button of its own only when there is more than one.
                visible: root.manager.productUpdateCount >= 2
                size: "small"
                text: L10n.japanese ? "すべてアップデート" : "Update All"
                enabled: !root.manager.isUpdatingAll
                onClicked: root.manager.updateAll()
            }
            Item {
                objectName: "checkProgress"
                visible: root.manager.isChecking
                Layout.preferredWidth: 16
                Layout.preferredHeight: 16
                BusyIndicator {
                    anchors.centerIn: parent
                    width: 24
                    height: 24
                    padding: 0
                    scale: 0.7
                    running: parent.visible
                    palette.dark: HubColors.textSecondary
                }
            }
            HubButton {
                objectName: "checkButton"
                size: "small"
                text: L10n.japanese ? "アップデートを確認" : "Check for Updates"
                enabled: !root.manager.isChecking
                onClicked: root.manager.check()
                // On into the table in its order, whatever was created first.
                Keys.onTabPressed: event => event.accepted = rows.enter(true)
            }
        }

        Divider {}

        Rectangle {
            objectName: "columnHeaders"
            Layout.fillWidth: true
            implicitHeight: titles.implicitHeight + 16
            color: HubColors.surface

            RowLayout {
                id: titles
                anchors.fill: parent
                anchors.leftMargin: 20
                anchors.rightMargin: 20
                anchors.topMargin: 8
                anchors.bottomMargin: 8
                spacing: 0

                ColumnTitle { Layout.fillWidth: true; text: L10n.japanese ? "製品" : "Product" }
                ColumnTitle { Layout.preferredWidth: UpdateTableRow.InstalledWidth; text: L10n.japanese ? "インストール済" : "Installed" }
                ColumnTitle { Layout.preferredWidth: UpdateTableRow.LatestWidth; text: L10n.japanese ? "最新" : "Latest" }
                ColumnTitle { Layout.preferredWidth: UpdateTableRow.StatusWidth; text: L10n.japanese ? "ステータス" : "Status" }
                Item { Layout.preferredWidth: UpdateTableRow.ActionWidth }
            }
        }

        Divider {}

        HubListView {
            id: rows
            objectName: "updateRows"
            Layout.fillWidth: true
            Layout.fillHeight: true
            model: UpdateRowsModel

            header: HubSelfUpdateRow {
                width: ListView.view.width
                onActiveFocusChanged: () => { if (activeFocus) rows.reveal(-1) }
                onTabbedPast: (from, forward) => rows.tabFrom(-1, from, forward)
            }
            delegate: UpdateRow {
                required property int index
                width: ListView.view.width
                onActiveFocusChanged: () => { if (activeFocus) rows.reveal(index) }
                onTabbedPast: (from, forward) => rows.tabFrom(index, from, forward)
            }
        }

        Divider {}

        Rectangle {
            objectName: "updatesFooter"
            Layout.fillWidth: true
            implicitHeight: footerRow.implicitHeight + 20
            color: HubColors.surface

            RowLayout {
                id: footerRow
                anchors.fill: parent
                anchors.leftMargin: 20
                anchors.rightMargin: 20
                anchors.topMargin: 10
                anchors.bottomMargin: 10
                spacing: 8

                Text {
                    objectName: "lastCheckedText"
                    Layout.fillWidth: true
                    // Before the first check: "not checked"; during it, nothing.
                    text: {
                        const japanese = L10n.japanese // re-read on a language switch
                        if (root.manager.hasLastChecked)
                            return L10n.lastCheckedText(root.manager.lastChecked.toLocaleTimeString(Qt.locale(), Locale.ShortFormat))
                        if (root.manager.isChecking)
                            return ""
                        return japanese ? "未確認" : "Not checked yet"
                    }
                    font.pixelSize: 11
                    color: HubColors.textSecondary
                    elide: Text.ElideRight
                }
                Text {
                    objectName: "updatesAvailableText"
                    visible: root.manager.availableCount > 0
                    text: {
                        L10n.japanese // re-read on a language switch
                        return L10n.updatesAvailableText(root.manager.availableCount)
                    }
                    font.pixelSize: 11
                    font.weight: Font.Medium
                    color: HubColors.accent
                }
            }
        }
    }
}
