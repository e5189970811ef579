import QtQuick
import QtQuick.Controls

// A tooltip for text that comes from outside (release notes, file sizes):
// shown exactly as written, never read as markup, and wrapped at a
// readable width.
ToolTip {
    id: tip

    delay: 500
    width: Math.min(implicitWidth, 360)

    contentItem: Text {
        text: tip.text
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        font: tip.font
        color: tip.palette.toolTipText
    }
}
