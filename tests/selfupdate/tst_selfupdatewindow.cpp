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
using selfupdatefixtures::Release;
using namespace quick;

const QString NotesUrl = QStringLiteral("https://quillmarsh.example/hub/notes-1.1.0");

// The hub's own update dialogs, driven by a real self-updater reading an
// appcast from the test service.
class SelfUpdateWindowTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    const selfupdatefixtures::Keys keys = selfupdatefixtures::Keys::generate();
    const QByteArray package = LocalHttpService::generatedBytes(0, 3 * 1024 * 1024);
    std::unique_ptr<QmlHarness> harness;
    QQuickWindow *dialog = nullptr;

    SelfUpdater &updater() { return harness->selfUpdater; }

    // The page of the current state.
    QObject *page() const
    {
        QObject *loader = QmlHarness::find(dialog, "selfUpdatePage");
        return loader ? loader->property("item").value<QObject *>() : nullptr;
    }

    QByteArray appcast(const QString &version) const
    {
        const QString url = service.url("/releases/QuillmarshHub-" + version + ".deb").toString();
        const QString notes = QStringLiteral("<p>The meters <b>redraw faster</b>. <a href=\"%1\">Details</a></p>").arg(NotesUrl);
        const Release release{version, version, url, QString::number(package.size()), keys.sign(package), {}, {}, notes};
        return selfupdatefixtures::document({release.item()});
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
        QVERIFY(dialog && !dialog->isVisible());
    }

    void init()
    {
        platform::hubSettings().remove(SelfUpdater::SkippedVersionKey);
        harness->l10n.setLanguage(AppLanguage::En);
        harness->host.urlOpener.opened.clear();
        service.setRoute("/hub/appcast.xml", Route{.body = appcast("1.1.0")});
        service.setRoute("/releases/QuillmarshHub-1.1.0.deb", Route{.body = package});
    }

    void cleanup()
    {
        updater().dismiss();
        expectClosed();
    }

    // Each row also answers the offer with one button.
    void offer_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("texts"); // title, heading, message, skip, remind, install
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("skipped");
        QTest::newRow("en, skip") << AppLanguage::En
                                  << QStringList{"Software Update", "A new version of Quillmarsh Hub is available!",
                                                 "Quillmarsh Hub 1.1.0 is now available—you have 1.0.0.", "Skip This Version",
                                                 "Remind Me Later", "Install Update"}
                                  << "selfUpdateSkip" << "1.1.0";
        QTest::newRow("ja, remind later") << AppLanguage::Ja
                                          << QStringList{"ソフトウェア・アップデート", "Quillmarsh Hub の新しいバージョンがあります",
                                                         "Quillmarsh Hub 1.1.0 が利用可能です（現在のバージョンは 1.0.0）。",
                                                         "このバージョンをスキップ", "後で通知", "アップデートをインストール"}
                                          << "selfUpdateRemind" << "";
    }

    // An offer shows even after an automatic check; links in the notes
    // leave through the hub's link opener; a skipped version is no longer
    // offered automatically.
    void offer()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QString, button);
        QFETCH(QString, skipped);
        harness->l10n.setLanguage(language);
        QCoro::waitFor(updater().check(false));
        QTRY_VERIFY(dialog->isVisible());
        QTEST((QStringList{dialog->title(), textOf(dialog, "selfUpdateHeading"), textOf(page(), "selfUpdateMessage"),
                           textOf(page(), "selfUpdateSkip"), textOf(page(), "selfUpdateRemind"), textOf(page(), "selfUpdateInstall")}),
              "texts");
        QObject *notes = QmlHarness::find(page(), "selfUpdateNotes");
        QVERIFY(notes && notes->property("text").toString().contains("redraw faster"));
        QVERIFY(QMetaObject::invokeMethod(notes, "linkActivated", Q_ARG(QString, NotesUrl)));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(NotesUrl)});

        click(child(page(), button));
        expectClosed();
        QCOMPARE(updater().skippedVersion(), skipped);
        QCoro::waitFor(updater().check(false));
        QCOMPARE(updater().state(), skipped.isEmpty() ? SelfUpdater::UpdateAvailable : SelfUpdater::Idle);
        QTRY_COMPARE(dialog->isVisible(), skipped.isEmpty());
    }

    void userOnlyWindows_data()
    {
        QTest::addColumn<QByteArray>("appcast"); // empty: the service answers 404
        QTest::addColumn<bool>("user");
        QTest::addColumn<QString>("heading"); // empty: no window

        const QByteArray current = appcast("1.0.0");
        QTest::newRow("up to date, user") << current << true << "You're up to date!";
        QTest::newRow("up to date, automatic") << current << false << "";
        QTest::newRow("failure, user") << QByteArray() << true << "Update Error";
    }

    void userOnlyWindows()
    {
        QFETCH(QByteArray, appcast);
        QFETCH(bool, user);
        QFETCH(QString, heading);
        service.setRoute("/hub/appcast.xml", appcast.isEmpty() ? Route{.status = 404} : Route{.body = appcast});

        user ? checkAsUser() : QCoro::waitFor(updater().check(false));
        if (heading.isEmpty()) {
            QCOMPARE(updater().state(), SelfUpdater::Idle);
            QTest::qWait(50);
            QVERIFY(!dialog->isVisible());
            return;
        }
        QTRY_COMPARE(textOf(dialog, "selfUpdateHeading"), heading);
        QVERIFY(dialog->isVisible());
    }

    // Progress while the signed release comes in, then the offer to install
    // and quit.
    void downloadThenReady()
    {
        service.setRoute("/releases/QuillmarshHub-1.1.0.deb",
                         Route{.body = package, .chunkSize = 256 * 1024, .chunkInterval = 30ms});
        checkAsUser();
        click(child(page(), "selfUpdateInstall"));

        QTRY_COMPARE(updater().state(), SelfUpdater::Downloading);
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), "Downloading update…");
        QTRY_VERIFY(child(page(), "selfUpdateProgress")->property("value").toDouble() > 0);

        QTRY_COMPARE_WITH_TIMEOUT(updater().state(), SelfUpdater::ReadyToInstall, 10000);
        QCOMPARE(textOf(dialog, "selfUpdateHeading"), "Ready to install");
        QVERIFY(shown(page(), "selfUpdateQuitAndInstall"));

        // No software installer takes it: the hub stays and says what to do.
        harness->host.packageInstaller.takes = false;
        QSignalSpy quit(&updater(), &SelfUpdater::quitRequested);
        click(child(page(), "selfUpdateQuitAndInstall"));
        QTRY_VERIFY(shown(page(), "selfUpdateManualInstall"));
        QVERIFY(!shown(page(), "selfUpdateMessage"));
        QVERIFY(textOf(page(), "selfUpdateManualInstall").contains(updater().downloadedFilePath()));
        QCOMPARE(textOf(page(), "selfUpdateInstallCommand"), "sudo apt install ./QuillmarshHub-1.1.0.deb");
        harness->l10n.setLanguage(AppLanguage::Ja);
        QVERIFY(textOf(page(), "selfUpdateManualInstall").startsWith("パッケージを開けるソフトウェアインストーラー"));
        QCOMPARE(quit.count(), 0);
        click(child(page(), "selfUpdateLater"));
        expectClosed();
    }

    // Escape answers an offer as closing the window does: not now.
    void escapePutsTheOfferOff()
    {
        checkAsUser();
        QCOMPARE(updater().state(), SelfUpdater::UpdateAvailable);
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        QTest::keyClick(dialog, Qt::Key_Escape);
        expectClosed();
        QCOMPARE(updater().skippedVersion(), QString());
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
