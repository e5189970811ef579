import QtQuick
import QtQuick.Layouts
import Quillmarsh.Hub

// The hub's own update dialogs: one window whose content follows the
// self-updater's state, shown while the updater finds it worth showing.
HubWindow {
    id: window
    objectName: "selfUpdateWindow"

    width: 600
    height: 380
    minimumWidth: 420
    minimumHeight: 240
    title: L10n.japanese ? "ソフトウェア・アップデート" : "Software Update"

    readonly property int updaterState: SelfUpdater.state
    readonly property bool wanted: SelfUpdater.worthShowing

    // Shown and hidden imperatively: a bound `visible` would be broken by
    // the first time the user closes the window.
    onWantedChanged: wanted ? present() : hide()
    Component.onCompleted: if (wanted) present()

    // Closing is an answer too: an offer is put off, a download stopped.
    onClosing: {
        if (updaterState === SelfUpdater.UpdateAvailable)
            SelfUpdater.remindLater()
        else if (updaterState === SelfUpdater.Downloading)
            SelfUpdater.cancel()
        else
            SelfUpdater.dismiss()
    }

    Connections {
        target: SelfUpdater
        function onRaiseRequested() {
            if (window.wanted)
                window.present()
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 20
        spacing: 12

        RowLayout {
            spacing: 14
            Image {
                Layout.alignment: Qt.AlignVCenter
                Layout.preferredWidth: 44
                Layout.preferredHeight: 44
                source: "qrc:/Quillmarsh/Hub/app/icons/logo.svg"
                sourceSize { width: 88; height: 88 }
                fillMode: Image.PreserveAspectFit
            }
            Text {
                objectName: "selfUpdateHeading"
                Layout.fillWidth: true
                Layout.alignment: Qt.AlignVCenter
                font.pixelSize: 15
                font.weight: Font.Bold
                color: HubColors.text
                wrapMode: Text.Wrap
                Accessible.role: Accessible.Heading
                Accessible.name: text
                text: {
                    const ja = L10n.japanese
                    switch (window.updaterState) {
                    case SelfUpdater.Checking:
                        return ja ? "アップデートを確認しています…" : "Checking for updates…"
                    case SelfUpdater.UpdateAvailable:
                        return ja ? "Quillmarsh Hub の新しいバージョンがあります"
                                  : "A new version of Quillmarsh Hub is available!"
                    case SelfUpdater.Downloading:
                        return ja ? "アップデートをダウンロード中…" : "Downloading update…"
                    case SelfUpdater.ReadyToInstall:
                        return ja ? "インストールの準備ができました" : "Ready to install"
                    case SelfUpdater.UpToDate:
                        return ja ? "最新の状態です" : "You're up to date!"
                    case SelfUpdater.Failed:
                        return ja ? "アップデートエラー" : "Update Error"
                    default:
                        return ""
                    }
                }
            }
        }

        Loader {
            id: page
            objectName: "selfUpdatePage"
            focus: true
            active: window.wanted
            Layout.fillWidth: true
            Layout.fillHeight: true
            sourceComponent: {
                switch (window.updaterState) {
                case SelfUpdater.Checking: return pages.checking
                case SelfUpdater.UpdateAvailable: return pages.offer
                case SelfUpdater.Downloading: return pages.downloading
                case SelfUpdater.ReadyToInstall: return pages.ready
                case SelfUpdater.UpToDate: return pages.upToDate
                case SelfUpdater.Failed: return pages.failed
                default: return null
                }
            }
        }
    }

    SelfUpdatePages {
        id: pages
    }
}
