#include "SelfUpdateFixtures.h"
#include "l10n/L10n.h"
#include "platform/Settings.h"
#include "selfupdate/SelfUpdater.h"
#include "selfupdate/SignatureVerifier.h"
#include "support/Files.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QtTest>

#include <limits>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)
using selfupdatefixtures::Keys;
using selfupdatefixtures::Release;
using State = SelfUpdater::State;

namespace {

constexpr qint64 Never = std::numeric_limits<qint64>::min();
const QString PackageName = QStringLiteral("QuillmarshHub-1.1.0.deb");

QString downloads() { return TestSandbox::current().downloads(); }

} // namespace

class SelfUpdaterTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    L10n l10n;
    const Keys keys = Keys::generate();
    const Keys otherKeys = Keys::generate();
    const QByteArray package = LocalHttpService::generatedBytes(0, 100 * 1000);
    std::unique_ptr<SelfUpdater> updater;
    QList<State> seenStates;

    SelfUpdateConfig config() const
    {
        SelfUpdateConfig config;
        config.appcastUrl = service.url("/appcast.xml");
        config.publicKey = keys.publicBase64();
        config.automaticChecks = false;
        return config;
    }

    void makeUpdater(const SelfUpdateConfig &config)
    {
        updater = std::make_unique<SelfUpdater>(host.host, config, l10n);
        seenStates.clear();
        connect(updater.get(), &SelfUpdater::stateChanged, updater.get(),
                [this] { seenStates << updater->state(); });
    }

    // A release of the test package, signed with the test key.
    Release hubRelease(const QString &version) const
    {
        Release release;
        release.shortVersion = version;
        release.version = version;
        release.url = service.url("/releases/QuillmarshHub-" + version + ".deb").toString();
        release.length = QString::number(package.size());
        release.signature = keys.sign(package);
        return release;
    }

    void serveAppcast(const QList<QByteArray> &items, std::chrono::milliseconds delay = 0ms)
    {
        service.setRoute("/appcast.xml", Route{.body = selfupdatefixtures::document(items), .delay = delay});
    }

    int appcastRequests() const { return service.requestCount("/appcast.xml"); }

    void checkAsUser()
    {
        updater->checkForUpdates();
        QTRY_VERIFY(updater->state() != SelfUpdater::Checking);
    }

    void checkAutomatically() { QCoro::waitFor(updater->check(false)); }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QCoreApplication::setApplicationVersion("1.0.0");
        QVERIFY(signing::initialise());
    }

    void init()
    {
        platform::hubSettings().remove(SelfUpdater::LastCheckKey);
        platform::hubSettings().remove(SelfUpdater::SkippedVersionKey);
        l10n.setLanguage(AppLanguage::En);
        QDir(downloads()).removeRecursively();
        host.urlOpener.opened.clear();
        serveAppcast({hubRelease("1.1.0").item()});
        service.setRoute("/releases/QuillmarshHub-1.1.0.deb", Route{.body = package});
        makeUpdater(config());
    }

    void cleanup() { updater.reset(); }

    // The same feed read by a check the user asked for and by an automatic
    // one: only the user sees "up to date" and failures.
    void checkOutcomes_data()
    {
        QTest::addColumn<Route>("appcast");
        QTest::addColumn<QString>("appcastUrl"); // empty: the test service's
        QTest::addColumn<QString>("publicKey");  // empty: the test key
        QTest::addColumn<int>("userState");
        QTest::addColumn<int>("problem");
        QTest::addColumn<int>("automaticState");

        auto feed = [](const QList<QByteArray> &items) { return Route{.body = selfupdatefixtures::document(items)}; };
        QTest::newRow("newer release") << feed({hubRelease("1.1.0").item()}) << "" << ""
                                       << int(State::UpdateAvailable) << int(UpdateProblem::None) << int(State::UpdateAvailable);
        QTest::newRow("nothing newer") << feed({hubRelease("1.0.0").item(), hubRelease("0.9").item()}) << "" << ""
                                       << int(State::UpToDate) << int(UpdateProblem::None) << int(State::Idle);
        QTest::newRow("no releases") << feed({}) << "" << ""
                                     << int(State::UpToDate) << int(UpdateProblem::None) << int(State::Idle);
        QTest::newRow("server error") << Route{.status = 500, .body = "oops"} << "" << ""
                                      << int(State::Failed) << int(UpdateProblem::Network) << int(State::Idle);
        QTest::newRow("not XML") << Route{.body = "<html><body>maintenance"} << "" << ""
                                 << int(State::Failed) << int(UpdateProblem::Feed) << int(State::Idle);
        QTest::newRow("over 1 MiB") << Route{.generatedSize = Appcast::MaximumSize + 1} << "" << ""
                                    << int(State::Failed) << int(UpdateProblem::Feed) << int(State::Idle);
        QTest::newRow("redirect here") << Route{.redirectTo = "/moved/appcast.xml"} << "" << ""
                                       << int(State::UpdateAvailable) << int(UpdateProblem::None) << int(State::UpdateAvailable);
        QTest::newRow("redirect to plain http elsewhere")
            << Route{.redirectTo = "http://updates.quillmarsh.example/appcast.xml"} << "" << ""
            << int(State::Failed) << int(UpdateProblem::Network) << int(State::Idle);
        QTest::newRow("nobody listening") << feed({}) << "http://127.0.0.1:1/appcast.xml" << ""
                                          << int(State::Failed) << int(UpdateProblem::Network) << int(State::Idle);
        QTest::newRow("plain http elsewhere") << feed({}) << "http://updates.quillmarsh.example/appcast.xml" << ""
                                              << int(State::Failed) << int(UpdateProblem::Configuration) << int(State::Idle);
        QTest::newRow("unusable key") << feed({hubRelease("1.1.0").item()}) << "" << "c2hvcnQ="
                                      << int(State::Failed) << int(UpdateProblem::Configuration) << int(State::Idle);
    }
    void checkOutcomes()
    {
        QFETCH(Route, appcast);
        QFETCH(QString, appcastUrl);
        QFETCH(QString, publicKey);
        QFETCH(int, problem);
        service.setRoute("/appcast.xml", appcast);
        service.setRoute("/moved/appcast.xml", Route{.body = selfupdatefixtures::document({hubRelease("1.1.0").item()})});
        SelfUpdateConfig settings = config();
        if (!appcastUrl.isEmpty())
            settings.appcastUrl = QUrl(appcastUrl);
        if (!publicKey.isEmpty())
            settings.publicKey = publicKey;
        makeUpdater(settings);

        checkAsUser();
        QVERIFY(updater->userInitiated());
        QTEST(int(updater->state()), "userState");
        QCOMPARE(int(updater->problem()), problem);
        const StringKey message = userMessage(UpdateProblem(problem));
        QCOMPARE(updater->errorMessage(), message.en);
        if (updater->state() == State::Failed) {
            QVERIFY(!updater->errorDetail().isEmpty());
            if (QTest::currentDataTag() == QByteArray("redirect to plain http elsewhere"))
                QVERIFY2(updater->errorDetail().contains("redirect"), qPrintable(updater->errorDetail()));
            QSignalSpy errorChanged(updater.get(), &SelfUpdater::errorChanged);
            l10n.setLanguage(AppLanguage::Ja);
            QCOMPARE(errorChanged.count(), 1);
            QCOMPARE(updater->errorMessage(), message.ja);
            l10n.setLanguage(AppLanguage::En);
        }

        updater->dismiss();
        QCOMPARE(updater->state(), State::Idle);
        QCOMPARE(updater->problem(), UpdateProblem::None);
        seenStates.clear();
        checkAutomatically();
        QVERIFY(!updater->userInitiated());
        QTEST(int(updater->state()), "automaticState");
        QVERIFY(!seenStates.contains(State::UpToDate));
        QVERIFY(!seenStates.contains(State::Failed));
    }

    void everyCheckIsRecorded()
    {
        QVERIFY(!updater->lastCheck().isValid());
        QSignalSpy recorded(updater.get(), &SelfUpdater::lastCheckChanged);
        service.setRoute("/appcast.xml", Route{.status = 503});
        checkAutomatically();
        QCOMPARE(recorded.count(), 1);
        QCOMPARE(updater->lastCheck(), host.clock.time);
        QCOMPARE(platform::hubSettings().value(SelfUpdater::LastCheckKey).toDateTime(), host.clock.time);
    }

    void offerDescribesTheRelease()
    {
        Release release = hubRelease("1.1.0");
        release.version = "1100";
        release.title = "Quillmarsh Hub 1.1";
        release.critical = true;
        release.description = "<h2>New</h2><script>alert(1)</script><p>See <a href=\"https://q.example/n\" onclick=\"x()\">notes</a></p>";
        serveAppcast({release.item()});
        QSignalSpy offerChanged(updater.get(), &SelfUpdater::offerChanged);
        checkAsUser();
        QCOMPARE(updater->state(), State::UpdateAvailable);
        QCOMPARE(offerChanged.count(), 1);
        QVERIFY(updater->hasOffer());
        QCOMPARE(updater->currentVersion(), "1.0.0");
        QCOMPARE(updater->offeredVersion(), "1100");
        QCOMPARE(updater->offeredShortVersion(), "1.1.0");
        QCOMPARE(updater->offeredDisplayVersion(), "1.1.0");
        QCOMPARE(updater->offeredTitle(), "Quillmarsh Hub 1.1");
        QCOMPARE(updater->offeredDate(), QDateTime(QDate(2026, 11, 23), QTime(14, 5), Qt::UTC));
        QVERIFY(updater->isCritical());
        QCOMPARE(updater->releaseNotesHtml(), "<h2>New</h2><p>See <a href=\"https://q.example/n\">notes</a></p>");

        updater->remindLater();
        QCOMPARE(updater->state(), State::Idle);
        QVERIFY(!updater->hasOffer());
        QVERIFY(updater->releaseNotesHtml().isEmpty());
        QVERIFY(updater->offeredDisplayVersion().isEmpty());
    }

    void notesComeFromTheLinkWithoutADescription()
    {
        Release release = hubRelease("1.1.0");
        release.notesLink = service.url("/notes/1.1.0.html").toString();
        serveAppcast({release.item()});
        service.setRoute("/notes/1.1.0.html", Route{.body = "<html><head><title>t</title><script>x()</script></head>"
                                                            "<body><h1>1.1</h1><p>Faster scans</p></body></html>"});
        checkAsUser();
        QCOMPARE(updater->releaseNotesLink(), service.url("/notes/1.1.0.html"));
        QTRY_COMPARE(updater->releaseNotesHtml(), "<h1>1.1</h1><p>Faster scans</p>");
    }

    void skipRule_data()
    {
        QTest::addColumn<QString>("skipped");
        QTest::addColumn<QString>("newest");
        QTest::addColumn<bool>("critical");
        QTest::addColumn<bool>("userInitiated");
        QTest::addColumn<bool>("offered");
        QTest::newRow("nothing skipped") << "" << "1.1.0" << false << false << true;
        QTest::newRow("skipped, automatic") << "1.1.0" << "1.1.0" << false << false << false;
        QTest::newRow("skipped, written differently") << "1.1" << "1.1.0" << false << false << false;
        QTest::newRow("skipped, user asks") << "1.1.0" << "1.1.0" << false << true << true;
        QTest::newRow("newer than skipped") << "1.1.0" << "1.2" << false << false << true;
        QTest::newRow("older than skipped") << "1.3" << "1.2" << false << false << false;
        QTest::newRow("skipped but now critical") << "1.1.0" << "1.1.0" << true << false << true;
    }
    void skipRule()
    {
        QFETCH(QString, skipped);
        QFETCH(QString, newest);
        QFETCH(bool, critical);
        QFETCH(bool, userInitiated);
        if (!skipped.isEmpty())
            platform::hubSettings().setValue(SelfUpdater::SkippedVersionKey, skipped);
        Release release = hubRelease(newest);
        release.critical = critical;
        serveAppcast({hubRelease("1.0.5").item(), release.item()});
        if (userInitiated)
            checkAsUser();
        else
            checkAutomatically();
        QFETCH(bool, offered);
        QCOMPARE(updater->state(), offered ? State::UpdateAvailable : State::Idle);
        if (offered)
            QCOMPARE(updater->offeredDisplayVersion(), newest);
    }

    void skipAndRemindLater()
    {
        // Remind later: offered again by the next automatic check.
        checkAutomatically();
        QCOMPARE(updater->state(), State::UpdateAvailable);
        updater->remindLater();
        QCOMPARE(updater->state(), State::Idle);
        QVERIFY(updater->skippedVersion().isEmpty());
        checkAutomatically();
        QCOMPARE(updater->state(), State::UpdateAvailable);

        // Skip: remembered under the version shown, across updaters.
        QSignalSpy skippedChanged(updater.get(), &SelfUpdater::skippedVersionChanged);
        updater->skipThisVersion();
        QCOMPARE(skippedChanged.count(), 1);
        QCOMPARE(updater->state(), State::Idle);
        makeUpdater(config());
        QCOMPARE(updater->skippedVersion(), "1.1.0");
        checkAutomatically();
        QCOMPARE(updater->state(), State::Idle);
        checkAsUser();
        QCOMPARE(updater->state(), State::UpdateAvailable);
        updater->dismiss();

        // A critical update is put off, never skipped.
        Release critical = hubRelease("1.2.0");
        critical.critical = true;
        serveAppcast({critical.item()});
        checkAutomatically();
        QVERIFY(updater->isCritical());
        updater->skipThisVersion();
        QCOMPARE(updater->state(), State::Idle);
        QCOMPARE(updater->skippedVersion(), "1.1.0");
        checkAutomatically();
        QCOMPARE(updater->offeredDisplayVersion(), "1.2.0");
    }

    void actionsOutsideTheirStateDoNothing()
    {
        updater->install();
        updater->remindLater();
        updater->skipThisVersion();
        QVERIFY(!updater->openPackage());
        updater->cancel();
        QCOMPARE(updater->state(), State::Idle);
        QVERIFY(updater->skippedVersion().isEmpty());
        QCOMPARE(service.requestCount("/releases/QuillmarshHub-1.1.0.deb"), 0);
        QVERIFY(seenStates.isEmpty());
    }

    void secondCheckBringsTheRunningOneForward()
    {
        serveAppcast({hubRelease("1.0.0").item()}, 300ms);
        const int before = appcastRequests();
        QSignalSpy raised(updater.get(), &SelfUpdater::raiseRequested);
        QCoro::Task<> automatic = updater->check(false);
        QCOMPARE(updater->state(), State::Checking);
        QVERIFY(!updater->userInitiated());
        updater->checkForUpdates();
        QCOMPARE(raised.count(), 1);
        QVERIFY(updater->userInitiated());
        QCoro::waitFor(std::move(automatic));
        // The automatic check became the user's: its result is shown.
        QCOMPARE(updater->state(), State::UpToDate);
        QCOMPARE(appcastRequests() - before, 1);

        updater->dismiss();
        serveAppcast({hubRelease("1.1.0").item()});
        checkAsUser();
        QCOMPARE(updater->state(), State::UpdateAvailable);
        updater->checkForUpdates();
        QCOMPARE(raised.count(), 2);
        QCOMPARE(updater->state(), State::UpdateAvailable);
        QCOMPARE(appcastRequests() - before, 2);
    }

    void cancelledCheckStaysClosed()
    {
        serveAppcast({hubRelease("1.1.0").item()}, 200ms);
        const int before = appcastRequests();
        updater->checkForUpdates();
        QCOMPARE(updater->state(), State::Checking);
        updater->cancel();
        QCOMPARE(updater->state(), State::Idle);
        QTest::qWait(500);
        // The answer came, and was dropped.
        QCOMPARE(appcastRequests() - before, 1);
        QCOMPARE(updater->state(), State::Idle);
        QVERIFY(!updater->hasOffer());
    }

    // Interval 300 ms; `lastCheckAgo` is how long before now the stored last
    // check was.
    void automaticSchedule_data()
    {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<qint64>("lastCheckAgo");
        QTest::addColumn<bool>("checksAtStart");
        QTest::newRow("never checked") << true << Never << true;
        QTest::newRow("checked over an interval ago") << true << qint64(400) << true;
        QTest::newRow("checked just now") << true << qint64(0) << false;
        QTest::newRow("last check in the future") << true << qint64(-60 * 60 * 1000) << true;
        QTest::newRow("disabled") << false << Never << false;
    }
    void automaticSchedule()
    {
        QFETCH(bool, enabled);
        QFETCH(qint64, lastCheckAgo);
        QFETCH(bool, checksAtStart);
        serveAppcast({hubRelease("1.0.0").item()});
        if (lastCheckAgo != Never)
            platform::hubSettings().setValue(SelfUpdater::LastCheckKey, host.clock.time.addMSecs(-lastCheckAgo));
        SelfUpdateConfig settings = config();
        settings.automaticChecks = enabled;
        settings.checkInterval = 300ms;
        makeUpdater(settings);
        const int before = appcastRequests();

        updater->start();
        updater->start(); // runs once
        QTest::qWait(150);
        QCOMPARE(appcastRequests() - before, checksAtStart ? 1 : 0);
        if (!enabled) {
            QTest::qWait(600);
            QCOMPARE(appcastRequests(), before);
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(appcastRequests() - before >= (checksAtStart ? 3 : 2), 5000);
        // Silent: up to date is never shown.
        for (const State state : std::as_const(seenStates))
            QVERIFY(state == State::Checking || state == State::Idle);
        QCOMPARE(updater->lastCheck(), host.clock.time);
    }

    void scheduleLeavesAnOpenOfferAlone()
    {
        SelfUpdateConfig settings = config();
        settings.automaticChecks = true;
        settings.checkInterval = 100ms;
        makeUpdater(settings);
        const int before = appcastRequests();
        updater->start();
        QTRY_COMPARE(updater->state(), State::UpdateAvailable);
        QTest::qWait(500);
        QCOMPARE(appcastRequests() - before, 1);
        QCOMPARE(updater->state(), State::UpdateAvailable);
        updater->remindLater();
        QTRY_COMPARE_WITH_TIMEOUT(updater->state(), State::UpdateAvailable, 2000);
        QCOMPARE(appcastRequests() - before, 2);
    }

    // Whatever goes wrong, Downloads ends as it was: an older file of the
    // same name stays, and no temporary file is left.
    void installOutcomes_data()
    {
        QTest::addColumn<QByteArray>("served");
        QTest::addColumn<QString>("signature");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<Route>("route");
        QTest::addColumn<int>("problem");
        const QString good = keys.sign(package);
        const qint64 size = package.size();
        QByteArray tampered = package;
        tampered[size / 2] = char(tampered[size / 2] ^ 0x01);

        QTest::newRow("signed and whole") << package << good << size << Route{} << int(UpdateProblem::None);
        QTest::newRow("chunked") << package << good << size << Route{.chunkSize = 7001} << int(UpdateProblem::None);
        QTest::newRow("signed by another key") << package << otherKeys.sign(package) << size << Route{}
                                               << int(UpdateProblem::Signature);
        QTest::newRow("one byte changed") << tampered << good << size << Route{} << int(UpdateProblem::Signature);
        QTest::newRow("signature of another file") << package << keys.sign(tampered) << size << Route{}
                                                   << int(UpdateProblem::Signature);
        QTest::newRow("longer than the feed says") << package << good << size - 1 << Route{} << int(UpdateProblem::Length);
        QTest::newRow("chunked, longer than the feed says")
            << package << good << size - 1 << Route{.chunkSize = 7001} << int(UpdateProblem::Length);
        QTest::newRow("shorter than the feed says") << package << good << size + 1 << Route{} << int(UpdateProblem::Length);
        QTest::newRow("broken off") << package << good << size << Route{.truncateAfter = 5000}
                                    << int(UpdateProblem::Transfer);
        QTest::newRow("error page") << QByteArray("not found") << good << size << Route{.status = 404}
                                    << int(UpdateProblem::Length);
    }
    void installOutcomes()
    {
        QFETCH(QByteArray, served);
        QFETCH(QString, signature);
        QFETCH(qint64, length);
        QFETCH(Route, route);
        QFETCH(int, problem);
        const QString saved = downloads() + "/" + PackageName;
        QVERIFY(testfiles::write(saved, "previous download"));
        Release release = hubRelease("1.1.0");
        release.signature = signature;
        release.length = QString::number(length);
        serveAppcast({release.item()});
        route.body = served;
        service.setRoute("/releases/" + PackageName, route);

        checkAsUser();
        QCOMPARE(updater->state(), State::UpdateAvailable);
        QSignalSpy progress(updater.get(), &SelfUpdater::progressChanged);
        updater->install();
        QCOMPARE(updater->state(), State::Downloading);
        QCOMPARE(updater->totalBytes(), length);
        QTRY_VERIFY_WITH_TIMEOUT(updater->state() != State::Downloading, 10000);
        QCOMPARE(int(updater->problem()), problem);
        QCOMPARE(testfiles::downloadsListing(), QStringList{PackageName});

        if (problem == int(UpdateProblem::None)) {
            QCOMPARE(updater->state(), State::ReadyToInstall);
            QCOMPARE(updater->downloadedFilePath(), saved);
            QCOMPARE(testfiles::read(saved), package);
            QCOMPARE(updater->receivedBytes(), length);
            QCOMPARE(updater->progress(), 1.0);
            QVERIFY(progress.count() >= 2);
        } else {
            QCOMPARE(updater->state(), State::Failed);
            QVERIFY(updater->downloadedFilePath().isEmpty());
            QCOMPARE(testfiles::read(saved), "previous download");
            QCOMPARE(updater->errorMessage(), userMessage(UpdateProblem(problem)).en);
        }
    }

    void failedDownloadCanBeTriedAgain()
    {
        service.setRoute("/releases/" + PackageName, Route{.body = package, .truncateAfter = 100});
        checkAsUser();
        updater->install();
        QTRY_COMPARE(updater->state(), State::Failed);
        QVERIFY(updater->hasOffer());
        service.setRoute("/releases/" + PackageName, Route{.body = package});
        updater->install();
        QCOMPARE(updater->problem(), UpdateProblem::None);
        QTRY_COMPARE(updater->state(), State::ReadyToInstall);
        QCOMPARE(testfiles::downloadsListing(), QStringList{PackageName});
    }

    void cancelledDownloadLeavesNothing()
    {
        service.setRoute("/releases/" + PackageName,
                         Route{.body = package, .chunkSize = 4096, .chunkInterval = 20ms});
        checkAsUser();
        updater->install();
        QTRY_VERIFY(updater->receivedBytes() > 0);
        QVERIFY(updater->progress() > 0.0 && updater->progress() < 1.0);
        updater->cancel();
        QTRY_COMPARE(updater->state(), State::Idle);
        QVERIFY(testfiles::downloadsListing().isEmpty());
        QVERIFY(!updater->hasOffer());
        QCOMPARE(updater->receivedBytes(), 0);
        QVERIFY(!seenStates.contains(State::Failed));
    }

    void dismissingADownloadCancelsIt()
    {
        service.setRoute("/releases/" + PackageName,
                         Route{.body = package, .chunkSize = 4096, .chunkInterval = 20ms});
        checkAsUser();
        updater->install();
        QTRY_VERIFY(updater->receivedBytes() > 0);
        updater->dismiss();
        QTRY_COMPARE(updater->state(), State::Idle);
        QVERIFY(testfiles::downloadsListing().isEmpty());
    }

    void verifiedPackageGoesToTheDesktop()
    {
        checkAsUser();
        updater->install();
        QTRY_COMPARE(updater->state(), State::ReadyToInstall);
        const QString saved = updater->downloadedFilePath();
        QVERIFY(updater->openPackage());
        QCOMPARE(host.urlOpener.opened, QList<QUrl>{QUrl::fromLocalFile(saved)});
        QCOMPARE(updater->state(), State::ReadyToInstall);
        updater->quitAndInstall();
        QCOMPARE(host.urlOpener.opened.size(), 2);

        QVERIFY(QFile::remove(saved));
        QVERIFY(!updater->openPackage());
        QCOMPARE(updater->state(), State::Failed);
        QCOMPARE(updater->problem(), UpdateProblem::PackageMissing);
        QCOMPARE(host.urlOpener.opened.size(), 2);
    }

    void configurationFromBuildAndEnvironment()
    {
        const SelfUpdateConfig built = SelfUpdateConfig::builtIn();
        QCOMPARE(built.appcastUrl, QUrl("https://www.quillmarsh.example/hub/appcast.xml"));
        QVERIFY(built.automaticChecks);
        QCOMPARE(built.checkInterval, std::chrono::milliseconds(86400s));
        QVERIFY2(built.validate().ok(), qPrintable(built.validate().error));

        qputenv(SelfUpdateConfig::AppcastEnvironmentVariable, "http://127.0.0.1:9/hub.xml");
        qputenv(SelfUpdateConfig::PublicKeyEnvironmentVariable, keys.publicBase64().toLatin1());
        const SelfUpdateConfig overridden = SelfUpdateConfig::fromEnvironment();
        qunsetenv(SelfUpdateConfig::AppcastEnvironmentVariable);
        qunsetenv(SelfUpdateConfig::PublicKeyEnvironmentVariable);
        QCOMPARE(overridden.appcastUrl, QUrl("http://127.0.0.1:9/hub.xml"));
        QCOMPARE(overridden.publicKey, keys.publicBase64());
        QCOMPARE(overridden.checkInterval, built.checkInterval);
        QCOMPARE(SelfUpdateConfig::fromEnvironment().appcastUrl, built.appcastUrl);
    }

    void configurationValidation_data()
    {
        QTest::addColumn<QString>("appcastUrl");
        QTest::addColumn<QString>("publicKey");
        QTest::addColumn<bool>("valid");
        const QString key = keys.publicBase64();
        QTest::newRow("https") << "https://updates.example/a.xml" << key << true;
        QTest::newRow("http to this machine") << "http://localhost:8080/a.xml" << key << true;
        QTest::newRow("http elsewhere") << "http://updates.example/a.xml" << key << false;
        QTest::newRow("file") << "file:///tmp/a.xml" << key << false;
        QTest::newRow("relative") << "a.xml" << key << false;
        QTest::newRow("no key") << "https://updates.example/a.xml" << "" << false;
        QTest::newRow("key too short") << "https://updates.example/a.xml" << key.left(20) << false;
        QTest::newRow("key not base64") << "https://updates.example/a.xml" << "!!" + key.mid(2) << false;
    }
    void configurationValidation()
    {
        QFETCH(QString, appcastUrl);
        QFETCH(QString, publicKey);
        SelfUpdateConfig settings;
        settings.appcastUrl = QUrl(appcastUrl, QUrl::StrictMode);
        settings.publicKey = publicKey;
        QTEST(settings.validate().ok(), "valid");
    }

    void signatures_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("signature");
        QTest::addColumn<QString>("publicKey");
        QTest::addColumn<bool>("verified");
        const QByteArray message = "release bytes";
        QTest::newRow("good") << message << keys.sign(message) << keys.publicBase64() << true;
        QTest::newRow("empty file") << QByteArray() << keys.sign({}) << keys.publicBase64() << true;
        QTest::newRow("white space around") << message << " " + keys.sign(message) + "\n" << keys.publicBase64() << true;
        QTest::newRow("other key") << message << otherKeys.sign(message) << keys.publicBase64() << false;
        QTest::newRow("other file") << QByteArray("release bytez") << keys.sign(message) << keys.publicBase64() << false;
        QTest::newRow("signature cut") << message << keys.sign(message).left(80) << keys.publicBase64() << false;
        QTest::newRow("signature not base64") << message << "*" + keys.sign(message).mid(1) << keys.publicBase64() << false;
    }
    void signatures()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, signature);
        QFETCH(QString, publicKey);
        QFETCH(bool, verified);
        const auto verifier = SignatureVerifier::fromBase64(publicKey);
        QVERIFY(verifier);
        QCOMPARE(verifier->verify(file, signature), verified);
        const QString path = TestSandbox::current().home() + "/signed.bin";
        QVERIFY(testfiles::write(path, file));
        QCOMPARE(verifier->verifyFile(path, signature), verified);
        QVERIFY(!verifier->verifyFile(path + ".missing", signature));
    }
};

HUB_TEST_MAIN(SelfUpdaterTest)
#include "tst_selfupdater.moc"
