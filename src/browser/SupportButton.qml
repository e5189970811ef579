import QtQuick
import QtQuick.Controls
import Quillmarsh.Hub

// The lighter, outlined accent button of a product card's support link.
Button {
    id: control

    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: text

    leftPadding: 10
    rightPadding: 10
    topPadding: 4
    bottomPadding: 4
    font.pixelSize: 11
    font.weight: Font.Medium

    contentItem: Text {
        text: control.text
        font: control.font
        color: HubColors.withOpacity(HubColors.accent, control.down ? 0.6 : 0.8)
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        Behavior on color { ColorAnimation { duration: 100; easing.type: Easing.InOutQuad } }
    }

    background: Rectangle {
        radius: 5
        color: HubColors.withOpacity(HubColors.accent, control.down ? 0.06 : 0.10)
        border.width: control.visualFocus ? 2 : 1
        border.color: control.visualFocus ? HubColors.text : HubColors.withOpacity(HubColors.accent, 0.3)
        Behavior on color { ColorAnimation { duration: 100; easing.type: Easing.InOutQuad } }
    }

    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
}
