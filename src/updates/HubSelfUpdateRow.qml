import QtQuick
import Quillmarsh.Hub

// The hub's own row, always the first of the updates table. Its Update
// button hands over to the hub's self-updater.
UpdateTableRow {
    objectName: "hubSelfUpdateRow"

    // The same in both languages.
    name: "Quillmarsh Hub"
    icon: "qrc:/Quillmarsh/Hub/app/icons/hub-app.svg"
    nameWeight: Font.Medium
    installedLabel: AppState.updateManager.hubInstalledVersion
    latestLabel: AppState.updateManager.hubHasLatestVersion ? AppState.updateManager.hubLatestVersion : "\u2014"
    status: AppState.updateManager.hubStatus
    // The hub is always installed: no badge says otherwise.
    showsStatus: status !== UpdateStatus.NotInstalled
    onUpdateClicked: AppState.updateManager.startHubSelfUpdate()
}
