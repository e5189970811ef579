import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import QtQuick.Layouts
import Quillmarsh.Hub

// The main window's content: a toolbar with the sidebar toggle, the
// sidebar, and the selected tab's view.
Rectangle {
    id: root
    objectName: "contentView"

    // Not kept between runs: the sidebar starts shown.
    property bool sidebarShown: true
    // The width the sidebar comes back at; dragging the divider changes it.
    property real sidebarWidth: 180
    // What the detail keeps while the sidebar can still narrow: the updates
    // table's fixed columns and margins, and a few letters of each name.
    readonly property real detailRoom: 540
    // 0 with the sidebar open, 1 closed; animated in between.
    property real sidebarCollapse: sidebarShown ? 0 : 1
    // The window counts it with the menu bar, outside the content's size.
    readonly property real toolBarHeight: toolBar.implicitHeight
    Behavior on sidebarCollapse { NumberAnimation { duration: 200; easing.type: Easing.InOutQuad } }

    function toggleSidebar() {
        // Remember the width the user left, not one from halfway through a slide.
        if (sidebarShown && sidebarCollapse === 0)
            sidebarWidth = sidebar.width
        sidebarShown = !sidebarShown
    }

    color: HubColors.background

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ToolBar {
            id: toolBar
            objectName: "toolBar"
            Layout.fillWidth: true
            leftPadding: 8
            rightPadding: 8
            topPadding: 4
            bottomPadding: 4
            background: Rectangle {
                color: HubColors.surface
                Rectangle {
                    anchors.bottom: parent.bottom
                    width: parent.width
                    height: 1
                    color: HubColors.divider
                }
            }

            RowLayout {
                anchors.fill: parent
                ToolButton {
                    id: sidebarToggle
                    objectName: "sidebarToggle"
                    implicitWidth: 32
                    implicitHeight: 28
                    focusPolicy: Qt.StrongFocus
                    hoverEnabled: true
                    Accessible.role: Accessible.Button
                    Accessible.name: "Toggle Sidebar"
                    onClicked: root.toggleSidebar()
                    // Back from the start of the window: the tab's last stop,
                    // whichever of its rows the view created last.
                    Keys.onBacktabPressed: event => event.accepted = detail.item !== null && detail.item.focusLast()
                    Keys.onReturnPressed: clicked()
                    Keys.onEnterPressed: clicked()

                    contentItem: IconImage {
                        source: "qrc:/Quillmarsh/Hub/app/icons/sidebar-toggle.svg"
                        sourceSize { width: 16; height: 16 }
                        color: HubColors.textSecondary
                        fillMode: Image.Pad
                    }
                    background: Rectangle {
                        radius: 6
                        color: sidebarToggle.down ? HubColors.withOpacity(HubColors.text, 0.12)
                             : sidebarToggle.hovered ? HubColors.withOpacity(HubColors.text, 0.06) : "transparent"
                        border.width: sidebarToggle.visualFocus ? 1 : 0
                        border.color: HubColors.accent
                    }
                    ToolTip {
                        objectName: "sidebarToggleTip"
                        // The same in both languages.
                        text: "Toggle Sidebar"
                        visible: sidebarToggle.hovered
                        delay: 600
                    }
                }
                Item { Layout.fillWidth: true }
            }
        }

        SplitView {
            id: split
            objectName: "splitView"
            Layout.fillWidth: true
            Layout.fillHeight: true
            orientation: Qt.Horizontal

            handle: Rectangle {
                id: handleLine
                implicitWidth: 1
                color: HubColors.divider
                // A wider grip than the line it draws.
                containmentMask: Item {
                    parent: handleLine
                    x: -3
                    width: 7
                    height: handleLine.height
                }
            }

            Sidebar {
                id: sidebar
                visible: root.sidebarCollapse < 1
                clip: true
                // The bounds give way only while the sidebar slides in or out.
                SplitView.minimumWidth: root.sidebarCollapse > 0 ? 0 : 160
                SplitView.maximumWidth: 220
                // In a narrow window it gives way first, down to its minimum.
                SplitView.preferredWidth: Math.min(root.sidebarWidth, root.width - root.detailRoom) * (1 - root.sidebarCollapse)
            }

            Loader {
                id: detail
                objectName: "detail"
                SplitView.fillWidth: true
                // Only the selected tab's view exists; the updates view's
                // types are read the first time it is chosen.
                sourceComponent: AppState.selectedTab === AppTab.Updates ? null : productsPage
                source: AppState.selectedTab === AppTab.Updates ? "qrc:/Quillmarsh/Hub/updates/UpdateView.qml" : ""
            }
        }
    }

    Component {
        id: productsPage
        ProductListView {}
    }
}
