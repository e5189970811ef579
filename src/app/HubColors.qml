pragma Singleton
import QtQuick

// The hub's fixed palette; the system theme never shows through.
QtObject {
    readonly property color background: Qt.rgba(0.016, 0.016, 0.031, 1)
    readonly property color surface: Qt.rgba(0.09, 0.09, 0.12, 1)
    readonly property color accent: Qt.rgba(0.788, 0.659, 0.298, 1)
    readonly property color text: "white"
    readonly property color textSecondary: Qt.rgba(0.55, 0.55, 0.55, 1)
    readonly property color divider: Qt.rgba(0.18, 0.18, 0.18, 1)
    readonly property color upToDate: Qt.rgba(0, 0.8, 0, 0.8)

    function withOpacity(c, opacity) { return Qt.rgba(c.r, c.g, c.b, c.a * opacity) }
}
