import QtQuick
import Quillmarsh.Hub

// The hub's secondary windows (settings, help, about, software update).
Window {
    id: window

    // The window this one first opens over; later it opens where the user
    // left it. The main window, for all but a window of its own.
    property var placeOver: transientParent
    property bool placed: false

    color: HubColors.background
    palette: HubPalette {}

    function present() {
        if (!placed && placeOver) {
            placed = true
            x = Math.round(placeOver.x + (placeOver.width - width) / 2)
            y = Math.round(placeOver.y + (placeOver.height - height) / 2)
        }
        show()
        raise()
        requestActivate()
    }

    // Escape closes it, as it would a dialog.
    Shortcut {
        sequence: "Escape"
        onActivated: window.close()
    }
}
