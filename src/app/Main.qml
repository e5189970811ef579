import QtQuick
import QtQuick.Controls
import Quillmarsh.Hub

// The one main window, with the menus and the windows they open.
ApplicationWindow {
    id: window
    objectName: "mainWindow"
    // The content, below the menu bar and toolbar, is at least 700 by 500
    // and first 900 by 600.
    readonly property real chromeHeight: menuBar.implicitHeight + content.toolBarHeight
    width: 900
    height: 600 + chromeHeight
    minimumWidth: 700
    minimumHeight: 500 + chromeHeight
    visible: true
    title: "Quillmarsh Hub"
    color: HubColors.background
    palette: HubPalette {}

    readonly property WindowSlot settings: WindowSlot {
        owner: window
        source: "qrc:/Quillmarsh/Hub/l10n/SettingsWindow.qml"
    }
    readonly property WindowSlot about: WindowSlot {
        owner: window
        source: "qrc:/Quillmarsh/Hub/app/AboutWindow.qml"
    }
    readonly property WindowSlot help: WindowSlot {
        owner: window
        source: "qrc:/Quillmarsh/Hub/help/HelpWindow.qml"
        standalone: true
    }
    readonly property WindowSlot selfUpdate: WindowSlot {
        owner: window
        source: "qrc:/Quillmarsh/Hub/selfupdate/SelfUpdateWindow.qml"
    }

    // Made when the hub's own updater first has something to say; from
    // then on it shows and hides itself.
    Connections {
        target: SelfUpdater
        function onWorthShowingChanged() {
            if (SelfUpdater.worthShowing)
                window.selfUpdate.make()
        }
    }
    Component.onCompleted: if (SelfUpdater.worthShowing) selfUpdate.make()

    menuBar: HubMenuBar {
        onAboutRequested: window.about.present()
        onSettingsRequested: window.settings.present()
        onHelpRequested: window.help.present()
        onQuitRequested: Qt.quit()
    }

    ContentView {
        id: content
        anchors.fill: parent
    }

    Shortcut {
        sequence: "Ctrl+,"
        context: Qt.ApplicationShortcut
        onActivated: window.settings.present()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        context: Qt.ApplicationShortcut
        onActivated: Qt.quit()
    }
}
