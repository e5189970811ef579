import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// The settings window's content: the interface language, as two radio
// buttons bound to L10n.language.
Rectangle {
    id: root
    objectName: "settingsView"

    color: HubColors.background
    implicitWidth: 320
    implicitHeight: 120

    component LanguageOption: RadioButton {
        id: option

        // The AppLanguage value this option stands for.
        property int language

        objectName: "languageOption"
        // The choice lives in L10n alone: a click asks L10n, and the check
        // mark follows L10n whoever changes it.
        checked: L10n.language === language
        onClicked: L10n.language = language
        focusPolicy: Qt.StrongFocus
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()
        Accessible.role: Accessible.RadioButton
        Accessible.name: text
        Accessible.checked: checked

        font.pixelSize: 13
        spacing: 8
        indicator: Rectangle {
            x: option.leftPadding
            y: option.topPadding + (option.availableHeight - height) / 2
            implicitWidth: 16
            implicitHeight: 16
            radius: 8
            color: option.checked ? HubColors.accent : HubColors.surface
            border.width: option.visualFocus ? 2 : 1
            border.color: option.visualFocus ? HubColors.text
                        : option.checked ? HubColors.accent : HubColors.textSecondary
            Rectangle {
                anchors.centerIn: parent
                width: 6
                height: 6
                radius: 3
                color: "black"
                visible: option.checked
            }
        }
        contentItem: Text {
            leftPadding: option.indicator.width + option.spacing
            text: option.text
            font: option.font
            color: HubColors.text
            verticalAlignment: Text.AlignVCenter
        }
    }

    RowLayout {
        anchors.centerIn: parent
        spacing: 16

        Text {
            objectName: "languageLabel"
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 6
            text: L10n.japanese ? "言語" : "Language"
            font.pixelSize: 13
            color: HubColors.text
        }
        ColumnLayout {
            spacing: 2
            // In the order of AppLanguage; the names read the same in
            // both languages.
            LanguageOption {
                objectName: "englishOption"
                text: "English"
                language: AppLanguage.En
            }
            LanguageOption {
                objectName: "japaneseOption"
                text: "Japanese / 日本語"
                language: AppLanguage.Ja
            }
        }
    }
}
