import QtQuick
import Quillmarsh.Hub

// Marks a product with an update available; the same word in every
// language. Its tooltip holds the new version's release notes.
Rectangle {
    id: badge
    objectName: "updateBadge"

    property string notes

    implicitWidth: labelText.implicitWidth + 10
    implicitHeight: labelText.implicitHeight + 4
    radius: 3
    color: HubColors.accent

    Accessible.role: Accessible.StaticText
    Accessible.name: labelText.text

    Text {
        id: labelText
        anchors.centerIn: parent
        text: "UPDATE"
        font.pixelSize: 9
        font.weight: Font.Bold
        color: "black"
    }

    HoverHandler { id: hover }
    HubToolTip {
        objectName: "releaseNotesTip"
        text: badge.notes
        visible: hover.hovered && text !== ""
    }
}
