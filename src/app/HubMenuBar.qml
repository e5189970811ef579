import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// The window's menus: the application menu and Help. Texts switch with
// the language at once; there is nothing to make a new window.
MenuBar {
    id: bar
    objectName: "menuBar"

    signal aboutRequested()
    signal settingsRequested()
    signal helpRequested()
    signal quitRequested()

    component HubMenu: Menu {
        id: menu
        // As wide as its widest item, so texts and shortcuts never collide.
        width: {
            let widest = 0
            for (let i = 0; i < count; ++i) {
                const entry = itemAt(i)
                if (entry)
                    widest = Math.max(widest, entry.implicitWidth)
            }
            return Math.max(180, widest + leftPadding + rightPadding)
        }
        palette.window: HubColors.surface
        topPadding: 4
        bottomPadding: 4
    }

    // A menu item that also shows its keyboard shortcut, if it has one.
    component HubMenuItem: MenuItem {
        id: item

        property string shortcutText

        implicitHeight: 30
        leftPadding: 12
        rightPadding: 12
        Accessible.role: Accessible.MenuItem
        Accessible.name: text

        contentItem: RowLayout {
            spacing: 24
            Text {
                Layout.fillWidth: true
                text: item.text
                font: item.font
                color: item.highlighted ? "black" : HubColors.text
            }
            Text {
                visible: item.shortcutText !== ""
                text: item.shortcutText
                font: item.font
                color: item.highlighted ? "black" : HubColors.textSecondary
            }
        }
        background: Rectangle {
            x: 4
            width: item.width - 8
            height: item.height
            radius: 4
            color: item.highlighted || item.down ? HubColors.accent : "transparent"
        }
    }

    delegate: MenuBarItem {
        id: barItem
        leftPadding: 10
        rightPadding: 10
        topPadding: 4
        bottomPadding: 4
        contentItem: Text {
            text: barItem.text
            font: barItem.font
            color: HubColors.text
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            radius: 4
            color: barItem.highlighted || barItem.down ? HubColors.withOpacity(HubColors.text, 0.1) : "transparent"
        }
    }

    background: Rectangle {
        implicitHeight: 28
        color: HubColors.surface
    }

    HubMenu {
        objectName: "applicationMenu"
        title: "Quillmarsh Hub"

        HubMenuItem {
            objectName: "aboutItem"
            text: L10n.japanese ? "Quillmarsh Hub について" : "About Quillmarsh Hub"
            onTriggered: bar.aboutRequested()
        }
        HubMenuItem {
            objectName: "checkForUpdatesItem"
            // Three full stops, as the hub's own updater names it.
            text: L10n.japanese ? "アップデートを確認..." : "Check for Updates..."
            onTriggered: SelfUpdater.checkForUpdates()
        }
        MenuSeparator {}
        HubMenuItem {
            objectName: "settingsItem"
            text: L10n.japanese ? "設定…" : "Settings…"
            shortcutText: "Ctrl+,"
            onTriggered: bar.settingsRequested()
        }
        MenuSeparator {}
        HubMenuItem {
            objectName: "quitItem"
            text: L10n.japanese ? "Quillmarsh Hub を終了" : "Quit Quillmarsh Hub"
            shortcutText: "Ctrl+Q"
            onTriggered: bar.quitRequested()
        }
    }

    HubMenu {
        objectName: "helpMenu"
        title: L10n.japanese ? "ヘルプ" : "Help"

        HubMenuItem {
            objectName: "guideItem"
            text: L10n.japanese ? "Quillmarsh Hub の使い方" : "Quillmarsh Hub Guide"
            onTriggered: bar.helpRequested()
        }
        HubMenuItem {
            objectName: "supportItem"
            text: L10n.japanese ? "サポートページを開く" : "Open Support Center"
            onTriggered: Links.openSupportCenter()
        }
    }
}
