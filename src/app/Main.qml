import QtQuick
import QtQuick.Controls
import Quillmarsh.Hub

ApplicationWindow {
    id: window
    width: 900
    height: 600
    minimumWidth: 700
    minimumHeight: 500
    visible: true
    title: "Quillmarsh Hub"
    color: HubColors.background

    Component.onCompleted: {
        AppState.setup()
        AppState.updateManager.connectSelfUpdater(SelfUpdater)
    }
}
