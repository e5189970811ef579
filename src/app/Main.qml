import QtQuick
import QtQuick.Controls

ApplicationWindow {
    width: 900
    height: 600
    minimumWidth: 700
    minimumHeight: 500
    visible: true
    title: "Quillmarsh Hub"
    color: Qt.rgba(0.016, 0.016, 0.031, 1)
}
