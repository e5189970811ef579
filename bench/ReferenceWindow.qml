import QtQuick
import QtQuick.Controls

// The hub's window type, size and background, with one line of text in the
// hub's font: the least a window that shows anything must pay for.
ApplicationWindow {
    width: 900
    height: 600
    visible: true
    color: "#040408"

    Text {
        anchors.centerIn: parent
        text: "Quillmarsh Hub"
        color: "#f2f2f7"
    }
}
