import QtQuick
import QtQuick.Controls.impl
import Quillmarsh.Hub

// A status in its own colour: its text, after an icon if it has one, on a
// capsule of that colour if asked. A card's install state and an update
// row's status are both one.
Rectangle {
    id: badge

    property string text
    property color tint
    property url icon
    property bool capsule: false
    property alias font: label.font
    // The room it may take; the text elides beyond it.
    property real maximumWidth: Infinity

    readonly property real horizontalPadding: capsule ? 8 : 0
    readonly property real verticalPadding: capsule ? 3 : 0
    readonly property real iconRoom: iconImage.visible ? iconImage.width + row.spacing : 0

    implicitWidth: Math.min(maximumWidth, Math.ceil(row.implicitWidth) + 2 * horizontalPadding)
    implicitHeight: row.implicitHeight + 2 * verticalPadding
    radius: height / 2
    color: capsule ? HubColors.withOpacity(tint, 0.15) : "transparent"

    Accessible.role: Accessible.StaticText
    Accessible.name: text

    Row {
        id: row
        x: badge.horizontalPadding
        anchors.verticalCenter: parent.verticalCenter
        spacing: 5

        IconImage {
            id: iconImage
            objectName: "statusIcon"
            visible: String(badge.icon) !== ""
            anchors.verticalCenter: parent.verticalCenter
            source: badge.icon
            sourceSize { width: 13; height: 13 }
            color: badge.tint
        }
        Text {
            id: label
            objectName: "statusText"
            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(implicitWidth, badge.maximumWidth - 2 * badge.horizontalPadding - badge.iconRoom)
            text: badge.text
            elide: Text.ElideRight
            color: badge.tint
        }
    }
}
