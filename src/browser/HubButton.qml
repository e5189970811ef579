import QtQuick
import QtQuick.Controls
import Quillmarsh.Hub

// The filled accent button of rows and headers, in two sizes.
Button {
    id: control

    // "regular" or "small"; every use names one.
    property string size: "small"
    readonly property bool regular: size === "regular"

    // Keeps the look while disabled: only the clicks stop.
    opacity: 1
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: text

    leftPadding: regular ? 20 : 12
    rightPadding: leftPadding
    topPadding: regular ? 9 : 5
    bottomPadding: topPadding
    font.pixelSize: regular ? 14 : 12
    font.weight: Font.DemiBold

    scale: down ? 0.97 : 1
    Behavior on scale { NumberAnimation { duration: 100; easing.type: Easing.InOutQuad } }

    contentItem: Text {
        text: control.text
        font: control.font
        color: "black"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }

    background: Rectangle {
        radius: control.regular ? 8 : 6
        color: HubColors.withOpacity(HubColors.accent, control.down ? 0.8 : 1)
        border.width: control.visualFocus ? 2 : 0
        border.color: HubColors.text
        Behavior on color { ColorAnimation { duration: 100; easing.type: Easing.InOutQuad } }
    }

    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
}
