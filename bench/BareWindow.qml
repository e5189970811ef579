import QtQuick
import QtQuick.Controls

// The hub's window type and size, the hub's background, nothing else.
ApplicationWindow {
    width: 900
    height: 600
    visible: true
    color: "#040408"
}
