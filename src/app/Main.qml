import QtQuick
import QtQuick.Controls
import Quillmarsh.Hub

// The one main window, with the menus and the windows they open.
ApplicationWindow {
    id: window
    objectName: "mainWindow"
    width: 900
    height: 600
    minimumWidth: 700
    minimumHeight: 500
    visible: true
    title: "Quillmarsh Hub"
    color: HubColors.background

    palette {
        window: HubColors.background
        windowText: HubColors.text
        base: HubColors.surface
        alternateBase: HubColors.surface
        text: HubColors.text
        button: HubColors.surface
        buttonText: HubColors.text
        brightText: HubColors.text
        highlight: HubColors.accent
        highlightedText: "black"
        light: "#34343f"
        midlight: "#2a2a33"
        mid: "#2a2a33"
        dark: HubColors.divider
        shadow: "black"
        link: HubColors.accent
        toolTipBase: HubColors.surface
        toolTipText: HubColors.text
        placeholderText: HubColors.textSecondary
    }

    // Made on first use and kept until the process ends: showing the
    // guide again brings back this same window.
    property HelpWindow helpWindow: null

    // Both return the window they bring forward.
    function openHelp() {
        if (!helpWindow) {
            helpWindow = helpWindowComponent.createObject(window)
            // Owned by this window, but shown as a window of its own rather
            // than a dialog that rides on it.
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
