#include "selfupdate/SelfUpdateFixtures.h"
#include "selfupdate/SignatureVerifier.h"
#include "platform/Settings.h"
#include "support/LocalHttpService.h"
#include "support/QmlHarness.h"
#include "support/QuickItems.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
using selfupdatefixtures::Keys;
using selfupdatefixtures::Release;

using namespace quick;

const QString NotesUrl = QStringLiteral("https://quillmarsh.example/hub/notes-1.1.0");

// The hub's own update dialogs, driven by a real self-updater reading an
// appcast from the test service.
class SelfUpdateWindowTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    const Keys keys = Keys::generate();
    const QByteArray package = LocalHttpService::generatedBytes(0, 3 * 1024 * 1024);
    std::unique_ptr<QmlHarness> harness;
    QQuickWindow *dialog = nullptr;

    SelfUpdater &updater() { return harness->selfUpdater; }

    // The page of the current state; the one it replaced may linger until
    // deleted.
    QObject *page() const
    {
        QObject *loader = QmlHarness::find(dialog, "selfUpdatePage");
        return loader ? loader->property("item").value<QObject *>() : nullptr;
    }

    Release release(const QString &version) const
    {
        Release release;
        release.version = version;
        release.shortVersion = version;
        release.url = service.url("/releases/QuillmarshHub-" + version + ".deb").toString();
        release.length = QString::number(package.size());
        release.signature = keys.sign(package);
        release.description = QStringLiteral("<p>The meters <b>redraw faster</b>. <a href=\"%1\">Details</a></p>")
                                  .arg(NotesUrl);
        return release;
    }

    void serveAppcast(const QList<QByteArray> &items)
    {
        service.setRoute("/hub/appcast.xml", Route{.body = selfupdatefixtures::document(items)});
    }

    void checkAsUser()
    {
        updater().checkForUpdates();
        QTRY_VERIFY(updater().state() != SelfUpdater::Checking);
    }

    void expectClosed()
    {
        QTRY_COMPARE(updater().state(), SelfUpdater::Idle);
        QTRY_VERIFY(!dialog->isVisible());
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QVERIFY(signing::initialise());
        qputenv(SelfUpdateConfig::PublicKeyEnvironmentVariable, keys.publicBase64().toLatin1());
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        dialog = qobject_cast<QQuickWindow *>(harness->createWindow("SelfUpdateWindow"));
        QVERIFY(dialog);
        QVERIFY(!dialog->isVisible());
    }

    void init()
    {
        platform::hubSettings().remove(SelfUpdater::SkippedVersionKey);
        harness->l10n.setLanguage(AppLanguage::En);
        harness->host.urlOpener.opened.clear();
        serveAppcast({release("1.1.0").item()});
        service.setRoute("/releases/QuillmarshHub-1.1.0.deb", Route{.body = package});
    }

    void cleanup()
    {
        updater().dismiss();
        expectClosed();
    }

    void offerTexts_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("texts"); // heading, message
        QTest::addColumn<QStringList>("buttons"); // skip, remind, install

        QTest::newRow("en") << AppLanguage::En << "Software Update"
                            << QStringList{"A new version of Quillmarsh Hub is available!",
                                           "Quillmarsh Hub 1.1.0 is now available—you have 1.0.0."}
                            << QStringList{"Skip This Version", "Remind Me Later", "Install Update"};
        QTest::newRow("ja") << AppLanguage::Ja << "ソフトウェア・アップデート"
                            << QStringList{"Quillmarsh Hub の新しいバージョンがあります",
                                           "Quillmarsh Hub 1.1.0 が利用可能です（現在のバージョンは 1.0.0）。"}
                            << QStringList{"このバージョンをスキップ", "後で通知", "アップデートをインストール"};
    }

    // An offer shows even after an automatic check; links in the notes
    // leave through the hub's link opener.
    void offerTexts()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QString, title);
        QFETCH(QStringList, texts);
        QFETCH(QStringList, buttons);
        harness->l10n.setLanguage(language);

        QCoro::waitFor(updater().check(false));
        QCOMPARE(updater().state(), SelfUpdater::UpdateAvailable);
        QTRY_VERIFY(dialog->isVisible());
        QCOMPARE(dialog->title(), title);
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), texts[0]);
        QCOMPARE(textOf(page(), "selfUpdateMessage"), texts[1]);

        QVERIFY(shown(page(), "selfUpdateNotesScroll") && !shown(page(), "selfUpdateNotesLink"));
        QObject *notes = QmlHarness::find(page(), "selfUpdateNotes");
        QVERIFY(notes && notes->property("text").toString().contains("redraw faster"));
        QVERIFY(QMetaObject::invokeMethod(notes, "linkActivated", Q_ARG(QString, NotesUrl)));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(NotesUrl)});

        QStringList shownButtons;
        for (const char *name : {"selfUpdateSkip", "selfUpdateRemind", "selfUpdateInstall"}) {
            shownButtons << textOf(page(), name);
            QCOMPARE(accessibleName(QmlHarness::find(page(), name)), shownButtons.last());
        }
        QCOMPARE(shownButtons, buttons);
    }

    // Notes that could not be fetched leave a link to them instead.
    void notesLinkWhenNoNotes()
    {
        Release bare = release("1.1.0");
        bare.description.clear();
        bare.notesLink = service.url("/hub/missing-notes.html").toString();
        serveAppcast({bare.item()});
        checkAsUser();
        QCOMPARE(updater().state(), SelfUpdater::UpdateAvailable);
        QTRY_VERIFY(shown(page(), "selfUpdateNotesLink"));
        QVERIFY(!shown(page(), "selfUpdateNotesScroll"));
        QCOMPARE(textOf(page(), "selfUpdateNotesLink"), "View release notes");
        click(child(page(), "selfUpdateNotesLink"));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(bare.notesLink)});
    }

    void userOnlyWindows_data()
    {
        QTest::addColumn<QByteArray>("appcast"); // empty: the service answers 404
        QTest::addColumn<bool>("user");
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QString>("heading"); // empty: no window

        const QByteArray current = selfupdatefixtures::document({release("1.0.0").item()});
        QTest::newRow("up to date, user") << current << true << AppLanguage::En << "You're up to date!";
        QTest::newRow("up to date, user, ja") << current << true << AppLanguage::Ja << "最新の状態です";
        QTest::newRow("up to date, automatic") << current << false << AppLanguage::En << "";
        QTest::newRow("failure, user") << QByteArray() << true << AppLanguage::En << "Update Error";
        QTest::newRow("failure, automatic") << QByteArray() << false << AppLanguage::En << "";
    }

    void userOnlyWindows()
    {
        QFETCH(QByteArray, appcast);
        QFETCH(bool, user);
        QFETCH(AppLanguage, language);
        QFETCH(QString, heading);
        harness->l10n.setLanguage(language);
        service.setRoute("/hub/appcast.xml", appcast.isEmpty() ? Route{.status = 404} : Route{.body = appcast});

        if (user)
            checkAsUser();
        else
            QCoro::waitFor(updater().check(false));

        if (heading.isEmpty()) {
            QCOMPARE(updater().state(), SelfUpdater::Idle);
            QTest::qWait(50);
            QVERIFY(!dialog->isVisible());
            return;
        }
        QTRY_VERIFY(dialog->isVisible());
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), heading);
        if (updater().state() == SelfUpdater::UpToDate) {
            QCOMPARE(textOf(page(), "selfUpdateMessage"), language == AppLanguage::Ja
                         ? "Quillmarsh Hub 1.0.0 は現在の最新バージョンです。"
                         : "Quillmarsh Hub 1.0.0 is currently the newest version available.");
        } else {
            QCOMPARE(updater().state(), SelfUpdater::Failed);
            QVERIFY(!updater().error().en.isEmpty());
            QCOMPARE(textOf(page(), "selfUpdateMessage"), updater().error().en);
            QCOMPARE(textOf(page(), "selfUpdateDetail"), updater().errorDetail());
        }
        click(child(page(), "selfUpdateOk"));
        expectClosed();
    }

    void checkingShownToUser()
    {
        service.setRoute("/hub/appcast.xml", Route{.hang = true});
        updater().checkForUpdates();
        QCOMPARE(updater().state(), SelfUpdater::Checking);
        QTRY_VERIFY(dialog->isVisible());
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), "Checking for updates…");
        QVERIFY(child(page(), "selfUpdateBusy")->property("running").toBool());
        click(child(page(), "selfUpdateCancel"));
        expectClosed();
    }

    void offerAnswers_data()
    {
        QTest::addColumn<QString>("button"); // empty: the window is closed
        QTest::addColumn<QString>("skipped");

        QTest::newRow("skip") << "selfUpdateSkip" << "1.1.0";
        QTest::newRow("remind later") << "selfUpdateRemind" << "";
        QTest::newRow("window closed") << "" << "";
    }

    void offerAnswers()
    {
        QFETCH(QString, button);
        QFETCH(QString, skipped);
        checkAsUser();
        QTRY_VERIFY(dialog->isVisible());
        if (button.isEmpty())
            dialog->close();
        else
            click(child(page(), button));
        expectClosed();
        QCOMPARE(updater().skippedVersion(), skipped);

        // A skipped version is no longer offered automatically.
        QCoro::waitFor(updater().check(false));
        QCOMPARE(updater().state(), skipped.isEmpty() ? SelfUpdater::UpdateAvailable : SelfUpdater::Idle);
        QTRY_COMPARE(dialog->isVisible(), skipped.isEmpty());
    }

    // Install from the keyboard: progress while the signed release comes
    // in, then the offer to install and quit.
    void downloadThenReady()
    {
        service.setRoute("/releases/QuillmarshHub-1.1.0.deb",
                         Route{.body = package, .chunkSize = 256 * 1024, .chunkInterval = 30ms});
        checkAsUser();
        QVERIFY(child(page(), "selfUpdateInstall"));
        child(page(), "selfUpdateInstall")->forceActiveFocus();
        QTest::keyClick(dialog, Qt::Key_Space);

        QTRY_COMPARE(updater().state(), SelfUpdater::Downloading);
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), "Downloading update…");
        QTRY_VERIFY(updater().receivedBytes() > 0);
        QTRY_VERIFY(child(page(), "selfUpdateProgress")->property("value").toDouble() > 0);
        QVERIFY(textOf(page(), "selfUpdateBytes").contains(QRegularExpression("^\\d+\\.\\d MB of 3\\.0 MB$")));

        QTRY_COMPARE_WITH_TIMEOUT(updater().state(), SelfUpdater::ReadyToInstall, 10000);
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), "Ready to install");
        QCOMPARE(textOf(page(), "selfUpdateQuitAndInstall"), "Install and Quit");
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), "インストールの準備ができました");
        QCOMPARE(textOf(page(), "selfUpdateLater"), "後で");
        click(child(page(), "selfUpdateLater"));
        expectClosed();
    }

    // Closing the window during a download stops it.
    void closingCancelsDownload()
    {
        service.setRoute("/releases/QuillmarshHub-1.1.0.deb",
                         Route{.body = package, .chunkSize = 64 * 1024, .chunkInterval = 100ms});
        checkAsUser();
        updater().install();
        QTRY_COMPARE(updater().state(), SelfUpdater::Downloading);
        dialog->close();
        expectClosed();
        QVERIFY(updater().downloadedFilePath().isEmpty());
    }
};

HUB_QUICK_TEST_MAIN(SelfUpdateWindowTest)
#include "tst_selfupdatewindow.moc"
