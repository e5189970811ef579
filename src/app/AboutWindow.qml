import QtQuick
import QtQuick.Layouts
import Quillmarsh.Hub

// "About Quillmarsh Hub": name, version and the maker's site.
HubWindow {
    id: window
    objectName: "aboutWindow"

    width: 300
    height: 220
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    title: L10n.japanese ? "Quillmarsh Hub について" : "About Quillmarsh Hub"

    ColumnLayout {
        anchors.centerIn: parent
        spacing: 8

        Image {
            Layout.alignment: Qt.AlignHCenter
            source: "qrc:/Quillmarsh/Hub/app/icons/logo.svg"
            sourceSize { width: 128; height: 128 }
            Layout.preferredWidth: 64
            Layout.preferredHeight: 64
            fillMode: Image.PreserveAspectFit
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: "Quillmarsh Hub"
            font.pixelSize: 15
            font.weight: Font.Bold
            color: HubColors.text
        }
        Text {
            objectName: "aboutVersion"
            Layout.alignment: Qt.AlignHCenter
            text: (L10n.japanese ? "バージョン " : "Version ") + Qt.application.version
            font.pixelSize: 11
            color: HubColors.textSecondary
        }
        HubLink {
            objectName: "makerSiteLink"
            Layout.alignment: Qt.AlignHCenter
            text: Links.makerDomain
            font.pixelSize: 11
            onClicked: Links.openMakerSite()
        }
    }
}
