import QtQuick
import Quillmarsh.Hub

// The guide. Main keeps one for the life of the process; closing it only
// hides it, and showing it again brings the same window to the front.
HubWindow {
    id: window
    objectName: "helpWindow"

    width: 540
    height: 540
    // Closable and resizable, but no minimise button.
    flags: Qt.Window | Qt.CustomizeWindowHint | Qt.WindowTitleHint | Qt.WindowCloseButtonHint
           | Qt.WindowMaximizeButtonHint

    HelpView {
        anchors.fill: parent
    }

    // The title keeps the language of the moment the window was made.
    Component.onCompleted: title = L10n.japanese ? "Quillmarsh Hub ガイド" : "Quillmarsh Hub Guide"
}
