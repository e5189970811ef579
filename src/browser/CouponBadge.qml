import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import Quillmarsh.Hub

// A running coupon campaign; clicking it opens the campaign page.
AbstractButton {
    id: control
    objectName: "couponBadge"

    property string code
    property string label
    // An empty label is still a label: only a missing one falls back.
    property bool hasLabel: false
    property url openURL

    readonly property string shownLabel: hasLabel ? label : "Coupon Active"

    leftPadding: 6
    rightPadding: 6
    topPadding: 3
    bottomPadding: 3
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    activeFocusOnTab: true

    Accessible.role: Accessible.Button
    Accessible.name: shownLabel + " " + code
    Accessible.description: tooltip.text

    ToolTip {
        id: tooltip
        objectName: "couponTooltip"
        text: "Click to open the campaign page"
        visible: control.hovered
        delay: 500
    }

    contentItem: CouponContent {
        label: control.shownLabel
        code: control.code
    }

    // Narrower than its content, the label elides first, then the code.
    component CouponContent: Item {
        id: content
        property string label
        property string code

        implicitWidth: Math.ceil(icon.width + labelText.implicitWidth + codeText.implicitWidth + 2 * gap)
        implicitHeight: Math.max(icon.height, labelText.implicitHeight, codeText.implicitHeight)

        readonly property real gap: 4
        readonly property real codeWidth: Math.min(codeText.implicitWidth, width - icon.width - 2 * gap)

        IconImage {
            id: icon
            anchors.verticalCenter: parent.verticalCenter
            source: "qrc:/Quillmarsh/Hub/app/icons/coupon.svg"
            sourceSize { width: 11; height: 11 }
            color: "black"
        }
        Text {
            id: labelText
            objectName: "couponLabel"
            x: icon.width + parent.gap
            width: Math.max(0, parent.width - x - parent.gap - parent.codeWidth)
            anchors.verticalCenter: parent.verticalCenter
            text: content.label
            font.pixelSize: 9
            font.weight: Font.Bold
            color: "black"
            maximumLineCount: 1
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
        Text {
            id: codeText
            objectName: "couponCode"
            x: parent.width - width
            width: Math.max(0, parent.codeWidth)
            anchors.verticalCenter: parent.verticalCenter
            text: content.code
            font.family: "monospace"
            font.pixelSize: 9
            font.weight: Font.Medium
            color: "black"
            opacity: 0.85
            maximumLineCount: 1
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
    }

    background: Rectangle {
        radius: height / 2
        color: HubColors.accent
        border.width: control.visualFocus ? 2 : 0
        border.color: HubColors.text
    }

    onClicked: Links.openUrl(openURL)
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
}
