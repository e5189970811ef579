import QtQuick

// A secondary window made the first time it is wanted and kept until the
// process ends, so that it opens again where the user left it. Nothing is
// made before then: starting pays only for what the main window shows.
QtObject {
    id: slot

    // The main window: owner of the window made, and what it first opens over.
    required property Window owner
    required property url source
    // A window of its own rather than one that rides on the main window.
    property bool standalone: false
    property Window window: null

    function make() {
        if (!window) {
            window = Qt.createComponent(source).createObject(owner, {placeOver: owner})
            if (standalone)
                window.transientParent = null
        }
        return window
    }

    // Brings the window forward, made first if need be; returns it.
    function present() {
        make().present()
        return window
    }
}
