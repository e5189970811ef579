import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// The help window's content: what each tab does and where to get more
// help. Every text follows the interface language.
Rectangle {
    id: root
    objectName: "helpView"

    color: HubColors.background

    component Section: ColumnLayout {
        property alias title: sectionTitle.text
        property alias body: sectionBody.text

        Layout.fillWidth: true
        spacing: 6

        Text {
            id: sectionTitle
            objectName: "sectionTitle"
            Layout.fillWidth: true
            font.pixelSize: 14
            font.weight: Font.DemiBold
            color: HubColors.text
            wrapMode: Text.Wrap
        }
        Text {
            id: sectionBody
            objectName: "sectionBody"
            Layout.fillWidth: true
            font.pixelSize: 13
            color: HubColors.textSecondary
            wrapMode: Text.Wrap
        }
    }

    Flickable {
        id: scroller
        objectName: "helpScroller"
        anchors.fill: parent
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        contentHeight: content.implicitHeight + 48
        ScrollBar.vertical: HubScrollBar {}

        ColumnLayout {
            id: content
            // The full width, less the 24-point margin on every side.
            x: 24
            y: 24
            width: scroller.width - 48
            spacing: 16

            Text {
                objectName: "helpHeading"
                Layout.fillWidth: true
                text: L10n.japanese ? "Quillmarsh Hub の使い方" : "How Quillmarsh Hub works"
                font.pixelSize: 17
                font.weight: Font.Bold
                color: HubColors.text
                wrapMode: Text.Wrap
            }
            Text {
                objectName: "helpIntroduction"
                Layout.fillWidth: true
                text: L10n.japanese
                      ? "Quillmarsh Hub は、このコンピュータにインストールされている Quillmarsh の製品を確認し、アップデートがあればインストーラをダウンロードします。"
                      : "Quillmarsh Hub keeps track of the Quillmarsh products installed on this computer and downloads the installers of their updates."
                font.pixelSize: 13
                color: HubColors.textSecondary
                wrapMode: Text.Wrap
            }
            Section {
                objectName: "productsSection"
                title: L10n.japanese ? "製品一覧" : "Products tab"
                body: L10n.japanese
                      ? "入手できる Quillmarsh の製品をすべて一覧にし、それぞれがインストール済みかどうかを表示します。"
                      : "Lists every Quillmarsh product that is available and shows whether each one is installed."
            }
            Section {
                objectName: "updatesSection"
                title: L10n.japanese ? "アップデート" : "Updates tab"
                body: L10n.japanese
                      ? "インストール済バージョンと最新バージョンを比較します。Update ボタンで最新.pkg をダウンロードします。"
                      : "Shows installed product versions vs the latest published versions. New version available \u2192 click Update to download the .pkg installer."
            }
            Rectangle {
                objectName: "helpSeparator"
                Layout.fillWidth: true
                Layout.topMargin: 4
                Layout.bottomMargin: 4
                implicitHeight: 1
                color: HubColors.divider
            }
            Text {
                objectName: "supportHeading"
                Layout.fillWidth: true
                text: L10n.japanese ? "さらに詳しいサポートは:" : "Need more help?"
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: HubColors.text
                wrapMode: Text.Wrap
            }
            HubLink {
                objectName: "supportLink"
                text: Links.supportPageText
                icon.source: "qrc:/Quillmarsh/Hub/app/icons/support-link.svg"
                onClicked: Links.openSupportCenter()
            }
            TextEdit {
                objectName: "supportEmail"
                Layout.fillWidth: true
                // Selectable, so the address can be copied.
                readOnly: true
                selectByMouse: true
                activeFocusOnTab: true
                text: Links.supportEmail
                font.pixelSize: 13
                color: HubColors.textSecondary
                selectionColor: HubColors.withOpacity(HubColors.accent, 0.5)
                selectedTextColor: HubColors.text
                Accessible.role: Accessible.EditableText
                Accessible.name: text
            }
        }
    }
}
