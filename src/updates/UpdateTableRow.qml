import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import QtQuick.Layouts
import Quillmarsh.Hub

// A row of the updates table on its column grid: the product, installed and
// latest versions, the status and, while an update is available, the Update
// button; then the divider under it. Every column keeps its width; what does
// not fit elides, and shows whole on hover.
FocusScope {
    id: row

    // The widths of the fixed columns; the column titles use them too.
    enum Column { InstalledWidth = 100, LatestWidth = 100, StatusWidth = 160, ActionWidth = 90 }

    property string name
    // An icon before the name, and the name's weight.
    property url icon
    property int nameWeight: Font.Normal
    property string installedLabel: "\u2014"
    property string latestLabel: "\u2014"
    // The latest version's release notes, its cell's tooltip.
    property string latestNotes
    property int status: UpdateStatus.NotInstalled
    property bool showsStatus: true
    // While its download runs the button says so and takes no clicks; its
    // tooltip says how far it has come.
    property bool downloading: false
    property string progressText

    signal updateClicked()
    // Tab or Backtab left the row's button.
    signal tabbedPast(Item from, bool forward)

    function focusTabStop(forward) {
        if (!updateButton.visible || !updateButton.enabled)
            return false
        updateButton.forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason)
        return true
    }

    implicitHeight: columns.implicitHeight + 20 + divider.height
    // What the fixed columns and the margins leave to the product.
    readonly property real productWidth: width - 40 - UpdateTableRow.InstalledWidth - UpdateTableRow.LatestWidth
                                         - UpdateTableRow.StatusWidth - UpdateTableRow.ActionWidth

    component Cell: Text {
        id: cell
        // Shown on hover under the text, which shows whole there if cut.
        property string notes
        font.pixelSize: 13
        color: HubColors.textSecondary
        elide: Text.ElideRight
        rightPadding: 6
        textFormat: Text.PlainText
        HoverHandler { id: hover }
        HubToolTip {
            objectName: "cellTip"
            text: {
                const whole = cell.truncated ? cell.text : ""
                return whole !== "" && cell.notes !== "" ? whole + "\n\n" + cell.notes : whole + cell.notes
            }
            visible: hover.hovered && text !== ""
            delay: 400
        }
    }

    Rectangle {
        width: parent.width
        height: parent.height - divider.height
        color: row.status === UpdateStatus.UpdateAvailable ? HubColors.withOpacity(HubColors.accent, 0.05) : "transparent"
    }

    RowLayout {
        id: columns
        x: 20
        y: 10
        width: parent.width - 40
        spacing: 0

        RowLayout {
            Layout.fillWidth: true
            Layout.minimumWidth: 0
            spacing: 8
            IconImage {
                objectName: "productIcon"
                // The name keeps the room when the column is narrow.
                visible: String(row.icon) !== "" && row.productWidth >= 60
                source: row.icon
                sourceSize { width: 16; height: 16 }
                color: HubColors.accent
            }
            Cell {
                id: nameCell
                objectName: "productName"
                Layout.fillWidth: true
                Layout.minimumWidth: 0
                text: row.name
                font.weight: row.nameWeight
                color: HubColors.text
            }
        }
        Cell {
            objectName: "installedVersion"
            Layout.preferredWidth: UpdateTableRow.InstalledWidth
            Layout.minimumWidth: Layout.preferredWidth
            text: row.installedLabel
            font.family: "monospace"
        }
        Cell {
            objectName: "latestVersion"
            Layout.preferredWidth: UpdateTableRow.LatestWidth
            Layout.minimumWidth: Layout.preferredWidth
            text: row.latestLabel
            notes: row.latestNotes
            font.family: "monospace"
        }
        Item {
            Layout.preferredWidth: UpdateTableRow.StatusWidth
            Layout.minimumWidth: Layout.preferredWidth
            implicitHeight: badge.implicitHeight
            UpdateStatusBadge {
                id: badge
                objectName: "statusBadge"
                anchors.verticalCenter: parent.verticalCenter
                visible: row.showsStatus
                status: row.status
                maximumWidth: parent.width - 6
            }
        }
        Item {
            Layout.preferredWidth: UpdateTableRow.ActionWidth
            Layout.minimumWidth: Layout.preferredWidth
            implicitHeight: updateButton.visible ? updateButton.implicitHeight : 0
            HubButton {
                id: updateButton
                objectName: "updateButton"
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                // Never wider than its column, whatever its label.
                width: Math.min(implicitWidth, parent.width)
                size: "small"
                spinnerSize: 12
                visible: row.status === UpdateStatus.UpdateAvailable
                enabled: !row.downloading
                busy: row.downloading
                text: row.downloading ? (L10n.japanese ? "ダウンロード中" : "Downloading")
                                      : (L10n.japanese ? "アップデート" : "Update")
                onClicked: row.updateClicked()
                Keys.onTabPressed: row.tabbedPast(updateButton, true)
                Keys.onBacktabPressed: row.tabbedPast(updateButton, false)
                HubToolTip {
                    objectName: "progressTip"
                    text: row.progressText
                    visible: row.downloading && actionHover.hovered && text !== ""
                    delay: 0
                }
            }
            // On the column, not the button: a button taking no clicks
            // while it downloads gets no hover either.
            HoverHandler { id: actionHover }
        }
    }

    Rectangle {
        id: divider
        x: 20
        y: parent.height - height
        width: parent.width - 40
        height: 1
        color: HubColors.divider
    }
}
