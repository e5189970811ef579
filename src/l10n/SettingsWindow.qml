import QtQuick
import Quillmarsh.Hub

// "Settings…" of the application menu: a small fixed window.
HubWindow {
    id: window
    objectName: "settingsWindow"

    width: 320
    height: 120
    minimumWidth: 320
    maximumWidth: 320
    minimumHeight: 120
    maximumHeight: 120
    title: L10n.japanese ? "設定" : "Settings"

    SettingsView {
        anchors.fill: parent
    }
}
