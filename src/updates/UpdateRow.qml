import QtQuick
import Quillmarsh.Hub

// One catalogue product in the updates table, made from its row of
// UpdateRowsModel.
UpdateTableRow {
    objectName: "updateRow"

    required property var model
    readonly property string productId: model.productId

    name: model.displayName
    installedLabel: model.installedLabel
    latestLabel: model.latestLabel
    latestNotes: model.releaseNotes
    status: model.status
    downloading: model.downloading
    progressText: AppState.updateManager.downloadProgressTexts[productId] ?? ""
    onUpdateClicked: AppState.updateManager.downloadAndReveal(productId, model.downloadURL)
}
