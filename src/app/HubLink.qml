import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import QtQuick.Layouts
import Quillmarsh.Hub

// A text link in the accent colour, after its icon (icon.source) if it has one;
// underlined while the pointer or the keyboard is on it.
AbstractButton {
    id: link

    font.pixelSize: 13
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true
    Accessible.role: Accessible.Link
    Accessible.name: text
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    HoverHandler { cursorShape: Qt.PointingHandCursor }

    contentItem: RowLayout {
        spacing: 6
        IconImage {
            visible: String(link.icon.source) !== ""
            source: link.icon.source
            sourceSize { width: 14; height: 14 }
            color: HubColors.accent
        }
        Text {
            text: link.text
            font.pixelSize: link.font.pixelSize
            font.underline: link.hovered || link.visualFocus
            color: link.down ? HubColors.withOpacity(HubColors.accent, 0.7) : HubColors.accent
        }
    }
    background: null
}
