import QtQuick
import Quillmarsh.Hub

// The product's category label beside its name; kept even when the label
// is empty so the other badges always start at the same place. Narrower
// than its label, the label elides.
Rectangle {
    id: badge
    objectName: "categoryBadge"

    property string label

    // Whole pixels: the layout rounds, and a fraction short would elide.
    implicitWidth: Math.ceil(labelText.implicitWidth) + 10
    implicitHeight: labelText.implicitHeight + 4
    radius: 3
    color: HubColors.surface

    Accessible.role: Accessible.StaticText
    Accessible.name: label

    Text {
        id: labelText
        x: 5
        width: parent.width - 10
        anchors.verticalCenter: parent.verticalCenter
        text: badge.label
        textFormat: Text.PlainText
        elide: Text.ElideRight
        font.pixelSize: 9
        font.weight: Font.DemiBold
        color: HubColors.textSecondary
    }
}
