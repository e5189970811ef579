import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import QtQuick.Layouts
import Quillmarsh.Hub

// The window's menus: the application menu and Help. Texts switch with
// the language at once; there is nothing to make a new window. From the
// keyboard, F10 opens the first menu and Alt with a menu's letter opens
// that menu; the letter is underlined where the title has it.
MenuBar {
    id: bar
    objectName: "menuBar"

    signal aboutRequested()
    signal settingsRequested()
    signal helpRequested()
    signal quitRequested()

    // Opens `menu` as a click on its title would, its first item current.
    function openMenu(menu) {
        for (let i = 0; i < count; ++i) {
            const item = itemAt(i)
            if (item.menu !== menu)
                continue
            if (!menu.opened)
                item.triggered()
            menu.currentIndex = 0
            return
        }
    }

    component HubMenu: Menu {
        id: menu

        // The letter that opens it with Alt, in both languages.
        property string mnemonic
        // Any checkable item gives every item a column for the check mark,
        // so their texts stay aligned.
        readonly property bool checkColumn: {
            for (let i = 0; i < count; ++i) {
                const entry = itemAt(i)
                if (entry && entry.checkable)
                    return true
            }
            return false
        }
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

    // A menu item that also shows its keyboard shortcut, if it has one,
    // and its check mark, if it is checkable.
    component HubMenuItem: MenuItem {
        id: item

        property string shortcutText
        // The menu it sits in declares `checkColumn`; a plain Menu has none.
        readonly property var ownMenu: item.menu

        implicitHeight: 30
        leftPadding: 12
        rightPadding: 12
        Accessible.role: Accessible.MenuItem
        Accessible.name: text
        Accessible.checkable: checkable
        Accessible.checked: checked

        indicator: null
        contentItem: RowLayout {
            spacing: 8
            IconImage {
                objectName: "checkMark"
                visible: item.ownMenu ? item.ownMenu.checkColumn === true : false
                // Unchecked, the column stays and the mark goes.
                opacity: item.checked ? 1 : 0
                source: "qrc:/Quillmarsh/Hub/app/icons/check.svg"
                sourceSize { width: 14; height: 14 }
                color: item.highlighted ? "black" : HubColors.text
            }
            RowLayout {
                Layout.fillWidth: true
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
        Accessible.name: text
        contentItem: Text {
            // Each of the bar's menus declares its `mnemonic`; a plain Menu has none.
            readonly property var barMenu: barItem.menu
            readonly property string letter: barMenu ? barMenu.mnemonic : ""
            readonly property int at: letter === "" ? -1 : barItem.text.indexOf(letter)
            // Underlines the letter; the text itself stays as it is.
            text: at < 0 ? escaped(barItem.text)
                         : escaped(barItem.text.slice(0, at)) + "<u>" + letter + "</u>" + escaped(barItem.text.slice(at + 1))
            textFormat: Text.StyledText
            font: barItem.font
            color: HubColors.text
            verticalAlignment: Text.AlignVCenter
            function escaped(plain) { return plain.replace(/&/g, "&amp;").replace(/</g, "&lt;") }
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

    Shortcut {
        sequence: "F10"
        onActivated: bar.openMenu(applicationMenu)
    }
    Shortcut {
        sequence: "Alt+" + applicationMenu.mnemonic
        onActivated: bar.openMenu(applicationMenu)
    }
    Shortcut {
        sequence: "Alt+" + helpMenu.mnemonic
        onActivated: bar.openMenu(helpMenu)
    }

    HubMenu {
        id: applicationMenu
        objectName: "applicationMenu"
        title: "Quillmarsh Hub"
        mnemonic: "Q"

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
        HubMenuItem {
            objectName: "notifyItem"
            text: L10n.japanese ? "アップデートを通知" : "Notify About Updates"
            checkable: true
            checked: UpdateNotifier.enabled
            // A click sets `checked` itself; the setting stays its source.
            onToggled: {
                UpdateNotifier.enabled = checked
                checked = Qt.binding(() => UpdateNotifier.enabled)
            }
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
        id: helpMenu
        objectName: "helpMenu"
        title: L10n.japanese ? "ヘルプ" : "Help"
        mnemonic: "H"

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
