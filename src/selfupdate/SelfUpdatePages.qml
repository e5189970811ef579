import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Quillmarsh.Hub

// The self-update window's pages, one for each state of the updater that
// shows one.
QtObject {
    id: pages

    // The pieces every page shares.
    component Body: Text {
        Layout.fillWidth: true
        font.pixelSize: 12
        color: HubColors.text
        wrapMode: Text.Wrap
    }
    // Sized to sit beside a regular HubButton.
    component SecondaryButton: SupportButton {
        font.pixelSize: 12
        leftPadding: 14
        rightPadding: 14
        topPadding: 8
        bottomPadding: 8
    }
    component ButtonRow: RowLayout {
        Layout.fillWidth: true
        Layout.topMargin: 8
        spacing: 8
    }

    readonly property Component checking: Component {
        ColumnLayout {
            spacing: 12
            BusyIndicator {
                objectName: "selfUpdateBusy"
                running: true
                Layout.preferredWidth: 36
                Layout.preferredHeight: 36
                palette.dark: HubColors.accent
            }
            Item { Layout.fillHeight: true }
            ButtonRow {
                Item { Layout.fillWidth: true }
                SecondaryButton {
                    objectName: "selfUpdateCancel"
                    focus: true
                    text: L10n.japanese ? "キャンセル" : "Cancel"
                    onClicked: SelfUpdater.cancel()
                }
            }
        }
    }

    readonly property Component offer: Component {
        ColumnLayout {
            spacing: 8
            Body {
                objectName: "selfUpdateMessage"
                text: (L10n.japanese ? "Quillmarsh Hub %1 が利用可能です（現在のバージョンは %2）。"
                                     : "Quillmarsh Hub %1 is now available—you have %2.")
                      .arg(SelfUpdater.offeredDisplayVersion).arg(SelfUpdater.currentVersion)
            }
            ScrollView {
                id: notesScroll
                objectName: "selfUpdateNotesScroll"
                visible: SelfUpdater.releaseNotesHtml !== ""
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.topMargin: 4
                clip: true
                background: Rectangle {
                    color: HubColors.surface
                    radius: 6
                    border.color: HubColors.divider
                }
                contentWidth: availableWidth
                Text {
                    objectName: "selfUpdateNotes"
                    width: notesScroll.availableWidth
                    padding: 10
                    textFormat: Text.RichText
                    wrapMode: Text.Wrap
                    // Rich text ignores linkColor; a style sheet gives links the accent.
                    text: "<style>a { color: %1; }</style>".arg(HubColors.accent) + SelfUpdater.releaseNotesHtml
                    color: HubColors.text
                    font.pixelSize: 12
                    Accessible.role: Accessible.StaticText
                    Accessible.name: L10n.japanese ? "リリースノート" : "Release notes"
                    onLinkActivated: link => Links.openUrl(link)
                    HoverHandler {
                        cursorShape: parent.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.ArrowCursor
                    }
                }
            }
            HubLink {
                objectName: "selfUpdateNotesLink"
                visible: SelfUpdater.releaseNotesHtml === "" && SelfUpdater.hasReleaseNotesLink
                text: L10n.japanese ? "リリースノートを見る" : "View release notes"
                font.pixelSize: 12
                onClicked: Links.openUrl(SelfUpdater.releaseNotesLink)
            }
            Item {
                visible: !notesScroll.visible
                Layout.fillHeight: true
            }
            // Right to left so the default button keeps the corner and,
            // when the words are long, the others wrap beneath it.
            Flow {
                Layout.fillWidth: true
                Layout.topMargin: 8
                layoutDirection: Qt.RightToLeft
                spacing: 8
                HubButton {
                    objectName: "selfUpdateInstall"
                    size: "regular"
                    focus: true
                    // A release to read about is never downloaded: its page instead.
                    text: SelfUpdater.informational ? (L10n.japanese ? "詳細を見る" : "Learn More")
                                                    : (L10n.japanese ? "アップデートをインストール" : "Install Update")
                    onClicked: SelfUpdater.informational ? Links.openUrl(SelfUpdater.offeredPage) : SelfUpdater.install()
                    enabled: !SelfUpdater.informational || SelfUpdater.hasOfferedPage
                }
                SecondaryButton {
                    objectName: "selfUpdateRemind"
                    text: L10n.japanese ? "後で通知" : "Remind Me Later"
                    onClicked: SelfUpdater.remindLater()
                }
                SecondaryButton {
                    objectName: "selfUpdateSkip"
                    // A critical update is only ever put off.
                    visible: !SelfUpdater.critical
                    text: L10n.japanese ? "このバージョンをスキップ" : "Skip This Version"
                    onClicked: SelfUpdater.skipThisVersion()
                }
            }
        }
    }

    readonly property Component downloading: Component {
        ColumnLayout {
            spacing: 12
            ProgressBar {
                id: bar
                objectName: "selfUpdateProgress"
                Layout.fillWidth: true
                from: 0
                to: 1
                value: SelfUpdater.progress
                Accessible.name: L10n.japanese ? "ダウンロードの進行状況" : "Download progress"
                background: Rectangle {
                    implicitHeight: 8
                    radius: 4
                    color: HubColors.surface
                    border.color: HubColors.divider
                }
                contentItem: Item {
                    implicitHeight: 8
                    Rectangle {
                        width: bar.visualPosition * parent.width
                        height: parent.height
                        radius: 4
                        color: HubColors.accent
                    }
                }
            }
            Text {
                objectName: "selfUpdateBytes"
                Layout.fillWidth: true
                font.pixelSize: 11
                color: HubColors.textSecondary
                text: L10n.downloadedSizeText(SelfUpdater.receivedBytes, SelfUpdater.totalBytes)
            }
            Item { Layout.fillHeight: true }
            ButtonRow {
                Item { Layout.fillWidth: true }
                SecondaryButton {
                    objectName: "selfUpdateCancel"
                    focus: true
                    text: L10n.japanese ? "キャンセル" : "Cancel"
                    onClicked: SelfUpdater.cancel()
                }
            }
        }
    }

    readonly property Component ready: Component {
        ColumnLayout {
            spacing: 8
            Body {
                objectName: "selfUpdateMessage"
                text: L10n.japanese
                      ? "アップデートをダウンロードし、署名を確認しました。ソフトウェアインストーラーで開き、置き換えのため Quillmarsh Hub を終了します。"
                      : "The update has been downloaded and its signature verified. Quillmarsh Hub will open it with your software installer and quit so it can be replaced."
                visible: !SelfUpdater.needsManualInstall
            }
            // No software installer took the package: say where it is and
            // how to install it; the hub stays open.
            Body {
                objectName: "selfUpdateManualInstall"
                visible: SelfUpdater.needsManualInstall
                text: L10n.japanese
                      ? "パッケージを開けるソフトウェアインストーラーが見つかりませんでした。署名を確認したパッケージはここにあります:\n"
                        + SelfUpdater.downloadedFilePath + "\n\nそのフォルダーで端末を開き、次のコマンドでインストールしてください:"
                      : "No software installer could open the package. The verified package is here:\n"
                        + SelfUpdater.downloadedFilePath + "\n\nOpen a terminal in that folder and install it with:"
            }
            TextEdit {
                objectName: "selfUpdateInstallCommand"
                visible: SelfUpdater.needsManualInstall
                readOnly: true
                selectByMouse: true
                color: HubColors.accent
                font.family: "monospace"
                font.pixelSize: 12
                text: "sudo apt install ./" + SelfUpdater.downloadedFilePath.split("/").pop()
            }
            Item { Layout.fillHeight: true }
            ButtonRow {
                Item { Layout.fillWidth: true }
                SecondaryButton {
                    objectName: "selfUpdateLater"
                    text: L10n.japanese ? "後で" : "Later"
                    onClicked: SelfUpdater.dismiss()
                }
                HubButton {
                    objectName: "selfUpdateQuitAndInstall"
                    size: "regular"
                    focus: true
                    text: L10n.japanese ? "インストールして終了" : "Install and Quit"
                    onClicked: SelfUpdater.quitAndInstall()
                }
            }
        }
    }

    readonly property Component upToDate: Component {
        ColumnLayout {
            spacing: 8
            Body {
                objectName: "selfUpdateMessage"
                text: (L10n.japanese ? "Quillmarsh Hub %1 は現在の最新バージョンです。"
                                     : "Quillmarsh Hub %1 is currently the newest version available.")
                      .arg(SelfUpdater.currentVersion)
            }
            Item { Layout.fillHeight: true }
            ButtonRow {
                Item { Layout.fillWidth: true }
                HubButton {
                    objectName: "selfUpdateOk"
                    size: "regular"
                    focus: true
                    text: "OK"
                    onClicked: SelfUpdater.dismiss()
                }
            }
        }
    }

    readonly property Component failed: Component {
        ColumnLayout {
            spacing: 8
            Body {
                objectName: "selfUpdateMessage"
                text: L10n.japanese ? SelfUpdater.error.ja : SelfUpdater.error.en
            }
            Text {
                objectName: "selfUpdateDetail"
                visible: text !== ""
                Layout.fillWidth: true
                font.pixelSize: 11
                color: HubColors.textSecondary
                wrapMode: Text.Wrap
                text: SelfUpdater.errorDetail
            }
            Item { Layout.fillHeight: true }
            ButtonRow {
                Item { Layout.fillWidth: true }
                HubButton {
                    objectName: "selfUpdateOk"
                    size: "regular"
                    focus: true
                    text: "OK"
                    onClicked: SelfUpdater.dismiss()
                }
            }
        }
    }
}
