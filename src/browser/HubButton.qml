import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// The filled accent button of rows and headers, in two sizes. While `busy`
// a small spinner stands before the label. Given less room than its label
// needs, the label shrinks a little and then elides.
Button {
    id: control

    // "regular" or "small"; every use names one.
    property string size: "small"
    readonly property bool regular: size === "regular"
    property bool busy: false
    // The square the spinner sits in.
    property real spinnerSize: 10

    // Keeps the look while disabled: only the clicks stop.
    opacity: 1
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: text

    leftPadding: regular ? 20 : 12
    rightPadding: leftPadding
    topPadding: regular ? 9 : 5
    bottomPadding: topPadding
    spacing: 4
    font.pixelSize: regular ? 14 : 12
    font.weight: Font.DemiBold

    scale: down ? 0.97 : 1
    Behavior on scale { NumberAnimation { duration: 100; easing.type: Easing.InOutQuad } }

    contentItem: RowLayout {
        spacing: control.spacing

        // Made only while busy: few buttons ever are.
        Loader {
            active: control.busy
            visible: active
            Layout.preferredWidth: control.spinnerSize
            Layout.preferredHeight: control.spinnerSize
            // The button's ids are in scope here; this qmllint does not know it.
            // qmllint disable unqualified
            sourceComponent: Item {
                BusyIndicator {
                    objectName: "buttonSpinner"
                    anchors.centerIn: parent
                    // Drawn at 0.6 of its size, which fills the frame.
                    width: control.spinnerSize / 0.6
                    height: width
                    padding: 0
                    scale: 0.6
                    running: control.busy
                    palette.dark: "black"
                }
            }
            // qmllint enable unqualified
        }
        Text {
            objectName: "buttonLabel"
            Layout.fillWidth: true
            Layout.fillHeight: true
            // Whole pixels: the layout rounds, and a fraction short would
            // elide a label that fits.
            Layout.preferredWidth: Math.ceil(implicitWidth)
            text: control.text
            font: control.font
            color: "black"
            horizontalAlignment: control.busy ? Text.AlignLeft : Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: control.font.pixelSize - 2
            elide: Text.ElideRight
        }
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
