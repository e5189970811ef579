import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import QtQuick.Layouts
import Quillmarsh.Hub

// The products tab: title and refresh, the two counts, then the catalogue
// by category. Everything shown comes from the singletons.
Rectangle {
    id: root
    objectName: "productListView"

    readonly property bool showsPlaceholder: AppState.catalog.isLoading && AppState.catalog.productCount === 0

    color: HubColors.background

    // Focus coming back from the start of the window: the last card.
    function focusLast() {
        return list.enter(false)
    }

    component SummaryItem: Item {
        id: summary

        property int value
        property string label
        property color valueColor

        Layout.fillWidth: true
        // Equal preferred widths make the two items share the bar evenly.
        Layout.preferredWidth: 1
        implicitHeight: summaryColumn.implicitHeight

        Column {
            id: summaryColumn
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 2

            Text {
                objectName: "summaryValue"
                anchors.horizontalCenter: parent.horizontalCenter
                text: String(summary.value)
                font.pixelSize: 18
                font.weight: Font.Bold
                color: summary.valueColor
            }
            Text {
                objectName: "summaryLabel"
                anchors.horizontalCenter: parent.horizontalCenter
                text: summary.label
                font.pixelSize: 10
                font.weight: Font.Medium
                color: HubColors.textSecondary
            }
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        RowLayout {
            objectName: "listHeader"
            Layout.fillWidth: true
            Layout.leftMargin: 24
            Layout.rightMargin: 24
            Layout.topMargin: 14
            Layout.bottomMargin: 14
            spacing: 8

            Text {
                objectName: "listTitle"
                text: L10n.japanese ? "製品一覧" : "Products"
                font.pixelSize: 16
                font.weight: Font.DemiBold
                color: HubColors.text
            }
            Item {
                Layout.fillWidth: true
            }
            AbstractButton {
                id: refresh
                objectName: "refreshButton"

                readonly property string tip: L10n.japanese ? "全ステータスを更新" : "Refresh all statuses"

                padding: 2
                hoverEnabled: true
                focusPolicy: Qt.StrongFocus
                activeFocusOnTab: true
                Accessible.role: Accessible.Button
                Accessible.name: tip

                ToolTip {
                    objectName: "refreshTooltip"
                    text: refresh.tip
                    visible: refresh.hovered
                    delay: 500
                }

                contentItem: IconImage {
                    source: "qrc:/Quillmarsh/Hub/app/icons/refresh.svg"
                    sourceSize { width: 16; height: 16 }
                    color: HubColors.withOpacity(HubColors.accent, refresh.down ? 0.6 : 1)
                }
                background: Rectangle {
                    color: "transparent"
                    radius: 4
                    border.width: refresh.visualFocus ? 2 : 0
                    border.color: HubColors.text
                }

                // Never disabled: each click starts its own fetch and state refresh.
                onClicked: AppState.refreshCatalogAndStates()
                // On into the cards in their order, whatever was created first.
                Keys.onTabPressed: event => event.accepted = list.enter(true)
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
            }
        }

        Rectangle {
            objectName: "summaryBar"
            Layout.fillWidth: true
            implicitHeight: summaryRow.implicitHeight + 20
            color: HubColors.surface

            RowLayout {
                id: summaryRow
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                spacing: 0

                SummaryItem {
                    objectName: "summaryTotal"
                    value: AppState.catalog.productCount
                    label: L10n.japanese ? "合計" : "Total"
                    valueColor: HubColors.textSecondary
                }
                Rectangle {
                    Layout.preferredWidth: 1
                    Layout.preferredHeight: 32
                    color: HubColors.divider
                }
                SummaryItem {
                    objectName: "summaryUpdates"
                    value: AppState.updateManager.productUpdateCount
                    label: L10n.japanese ? "アップデート" : "Updates"
                    valueColor: value > 0 ? HubColors.accent : HubColors.textSecondary
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: HubColors.divider
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            Item {
                objectName: "loadingPlaceholder"
                visible: root.showsPlaceholder
                width: parent.width
                height: Math.max(240, placeholderColumn.implicitHeight)

                Column {
                    id: placeholderColumn
                    anchors.centerIn: parent
                    spacing: 14

                    BusyIndicator {
                        anchors.horizontalCenter: parent.horizontalCenter
                        width: 32
                        height: 32
                        padding: 0
                        scale: 1.2
                        running: root.showsPlaceholder
                        palette.dark: HubColors.textSecondary
                    }
                    Text {
                        anchors.horizontalCenter: parent.horizontalCenter
                        text: L10n.japanese ? "カタログ読み込み中…" : "Loading catalog…"
                        font.pixelSize: 12
                        color: HubColors.textSecondary
                    }
                }
            }

            HubListView {
                id: list
                objectName: "productList"
                anchors.fill: parent
                visible: !root.showsPlaceholder
                model: ProductListModel
                // About five cards above and below the visible ones.
                cacheBuffer: 300
                bottomMargin: 16

                // The key is the category, so two sections with the same
                // title stay apart.
                section.property: "sectionKey"
                section.criteria: ViewSection.FullString
                section.labelPositioning: ViewSection.InlineLabels | ViewSection.CurrentLabelAtStart
                section.delegate: SectionHeader {
                    required property string section

                    width: ListView.view.width
                    title: ProductListModel.sectionTitle(section)
                }
                pinnedHeight: pinnedHeaderProbe.implicitHeight

                delegate: FocusScope {
                    id: entry

                    required property var model
                    required property int index

                    width: ListView.view.width
                    implicitHeight: cardAndDivider.implicitHeight
                    onActiveFocusChanged: () => { if (activeFocus) list.reveal(index) }

                    function focusTabStop(forward) {
                        return card.focusTabStop(forward)
                    }

                    Column {
                        id: cardAndDivider
                        width: parent.width

                        ProductCard {
                            id: card
                            width: parent.width
                            model: entry.model
                            onTabbedPast: (from, forward) => list.tabFrom(entry.index, from, forward)
                        }
                        // Between the cards of a section, never after its last one.
                        Rectangle {
                            objectName: "cardDivider"
                            visible: !entry.model.isLastInSection
                            x: 24
                            width: parent.width - 48
                            height: 1
                            color: HubColors.divider
                        }
                    }
                }
            }
            // Measures the pinned header, which covers the top of the list.
            SectionHeader {
                id: pinnedHeaderProbe
                visible: false
            }
        }
    }
}