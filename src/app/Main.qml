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

    // Made on first use and kept until the process ends: showing the
    // guide again brings back this same window.
    property HelpWindow helpWindow: null

    // Both return the window they bring forward.
    function openHelp() {
        if (!helpWindow) {
            // Owned by this window and first shown over it, but a window of
            // its own rather than a dialog that rides on it.
            helpWindow = helpWindowComponent.createObject(window, {placeOver: window})
            helpWindow.transientParent = null
        }
        helpWindow.present()
        return helpWindow
    }

    function openSettings() {
        settingsWindow.present()
        return settingsWindow
    }

    menuBar: HubMenuBar {
        onAboutRequested: aboutWindow.present()
        onSettingsRequested: window.openSettings()
        onHelpRequested: window.openHelp()
        onQuitRequested: Qt.quit()
    }

    ContentView {
        id: content
        anchors.fill: parent
    }

    Shortcut {
        sequence: "Ctrl+,"
        context: Qt.ApplicationShortcut
        onActivated: window.openSettings()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        context: Qt.ApplicationShortcut
        onActivated: Qt.quit()
    }

    SettingsWindow { id: settingsWindow }
    AboutWindow { id: aboutWindow }
    // Shows itself when the hub's own updater has something to say.
    SelfUpdateWindow { id: selfUpdateWindow }

    Component {
        id: helpWindowComponent
        HelpWindow {}
    }
}
