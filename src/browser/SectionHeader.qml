import QtQuick
import Quillmarsh.Hub

// A category's title above its cards. Opaque, so that while pinned it
// hides the cards scrolling under it.
Rectangle {
    id: header
    objectName: "sectionHeader"

    // As the catalogue gives it; may be empty, and the row keeps its height.
    property string title

    implicitHeight: titleText.implicitHeight + 16
    // A hair short of opaque: Qt Quick's software renderer (no GPU) skips
    // redrawing what an opaque item covers, and cards scrolling under the
    // pinned header left traces of themselves over the incoming one.
    color: HubColors.withOpacity(HubColors.background, 0.996)

    Accessible.role: Accessible.Heading
    Accessible.name: title

    Text {
        id: titleText
        objectName: "sectionTitle"
        anchors {
            left: parent.left
            right: parent.right
            leftMargin: 24
            rightMargin: 24
            verticalCenter: parent.verticalCenter
        }
        text: header.title
        textFormat: Text.PlainText
        elide: Text.ElideRight
        font.pixelSize: 11
        font.weight: Font.DemiBold
        font.capitalization: Font.AllUppercase
        font.letterSpacing: 0.5
        color: HubColors.textSecondary
    }
}
