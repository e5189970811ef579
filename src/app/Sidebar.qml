import QtQuick
import QtQuick.Controls
import QtQuick.Controls.impl
import QtQuick.Layouts
import Quillmarsh.Hub

// The sidebar: the two tabs, and the maker's logo at the foot.
Rectangle {
    id: sidebar
    objectName: "sidebar"

    color: HubColors.surface

    component TabRow: AbstractButton {
        id: tabRow

        property int tab
        property string iconName
        readonly property bool selected: AppState.selectedTab === tab

        Layout.fillWidth: true
        implicitHeight: 32
        leftPadding: 10
        rightPadding: 10
        focusPolicy: Qt.StrongFocus
        hoverEnabled: true
        Accessible.role: Accessible.PageTab
        Accessible.name: text
        Accessible.selected: selected
        onClicked: AppState.selectedTab = tab
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()

        contentItem: RowLayout {
            spacing: 8
            IconImage {
                source: "qrc:/Quillmarsh/Hub/app/icons/" + tabRow.iconName + ".svg"
                sourceSize { width: 15; height: 15 }
                color: tabRow.selected ? HubColors.accent : HubColors.textSecondary
            }
            Text {
                Layout.fillWidth: true
                text: tabRow.text
                font.pixelSize: 13
                font.weight: tabRow.selected ? Font.Medium : Font.Normal
                color: HubColors.text
                elide: Text.ElideRight
            }
        }
        background: Rectangle {
            radius: 6
            color: tabRow.selected ? HubColors.withOpacity(HubColors.accent, 0.18)
                 : tabRow.hovered ? HubColors.withOpacity(HubColors.text, 0.05) : "transparent"
            border.width: tabRow.visualFocus ? 1 : 0
            border.color: HubColors.accent
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: 10
        anchors.leftMargin: 8
        anchors.rightMargin: 8
        spacing: 0

        ColumnLayout {
            objectName: "tabList"
            Layout.fillWidth: true
            spacing: 2
            // Up and Down move between the tabs, as in a list.
            Keys.onUpPressed: productsTab.forceActiveFocus()
            Keys.onDownPressed: updatesTab.forceActiveFocus()

            TabRow {
                id: productsTab
                objectName: "productsTab"
                tab: AppTab.Products
                iconName: "tab-products"
                text: L10n.japanese ? "製品一覧" : "Products"
            }
            TabRow {
                id: updatesTab
                objectName: "updatesTab"
                tab: AppTab.Updates
                iconName: "tab-updates"
                text: L10n.japanese ? "アップデート" : "Updates"
            }
        }

        Item { Layout.fillHeight: true }

        AbstractButton {
            id: logoButton
            objectName: "logoButton"
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: 16
            implicitWidth: 48
            implicitHeight: 48
            opacity: 0.9
            focusPolicy: Qt.StrongFocus
            hoverEnabled: true
            Accessible.role: Accessible.Link
            Accessible.name: Links.makerDomain
            onClicked: Links.openMakerSite()
            Keys.onReturnPressed: clicked()
            Keys.onEnterPressed: clicked()

            contentItem: Image {
                source: "qrc:/Quillmarsh/Hub/app/icons/logo.svg"
                sourceSize { width: 96; height: 96 }
                fillMode: Image.PreserveAspectFit
            }
            background: Rectangle {
                radius: 12
                color: "transparent"
                border.width: logoButton.visualFocus ? 1 : 0
                border.color: HubColors.accent
            }
            ToolTip {
                objectName: "logoTip"
                text: Links.makerDomain
                visible: logoButton.hovered
                delay: 600
            }
        }
    }
}
