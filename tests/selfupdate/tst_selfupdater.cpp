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
#include <QNetworkReply>
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
const QString PackageRoute = "/releases/" + PackageName;

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

    // Automatic checks only with an interval.
    SelfUpdateConfig config(const QString &appcastPath = "/appcast.xml", std::chrono::milliseconds interval = 0ms) const
    {
        return {service.url(appcastPath), keys.publicBase64(), interval > 0ms, interval > 0ms ? interval : 24h};
    }

    void makeUpdater(const SelfUpdateConfig &config)
    {
        updater = std::make_unique<SelfUpdater>(host.host, config, l10n);
        seenStates.clear();
        connect(updater.get(), &SelfUpdater::stateChanged, updater.get(), [this] { seenStates << updater->state(); });
    }

    // A release of the test package, signed with the test key.
    Release hubRelease(const QString &version, bool critical = false) const
    {
        Release release;
        release.shortVersion = release.version = version;
        release.url = service.url("/releases/QuillmarshHub-" + version + ".deb").toString();
        release.length = QString::number(package.size());
        release.signature = keys.sign(package);
        release.critical = critical;
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
        QTRY_VERIFY(updater->state() != State::Checking);
    }
    void checkAutomatically() { QCoro::waitFor(updater->check(false)); }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QCoreApplication::setApplicationVersion("1.0.0");
        QVERIFY(signing::initialise());
        l10n.setLanguage(AppLanguage::En);
    }

    void init()
    {
        platform::hubSettings().remove(SelfUpdater::LastCheckKey);
        platform::hubSettings().remove(SelfUpdater::SkippedVersionKey);
        QDir(downloads()).removeRecursively();
        host.urlOpener.opened.clear();
        serveAppcast({hubRelease("1.1.0").item()});
        service.setRoute(PackageRoute, Route{.body = package});
        makeUpdater(config());
    }

    void cleanup() { updater.reset(); }

    // The same feed read by a check the user asked for and by an automatic
    // one: only the user sees "up to date" and failures. Every check that
    // reaches the network is recorded.
    void checkOutcomes_data()
    {
        QTest::addColumn<Route>("appcast");
        QTest::addColumn<QString>("publicKey"); // empty: the test key
        QTest::addColumn<int>("userState");
        QTest::addColumn<int>("problem");
        QTest::addColumn<int>("automaticState");
        const QByteArray newer = selfupdatefixtures::document({hubRelease("1.1.0").item()});
        const int available = State::UpdateAvailable, failed = State::Failed, idle = State::Idle;
        const int none = int(UpdateProblem::None), network = int(UpdateProblem::Network), feed = int(UpdateProblem::Feed);
        QTest::newRow("newer release") << Route{.body = newer} << "" << available << none << available;
        const QByteArray older = selfupdatefixtures::document({hubRelease("1.0.0").item(), hubRelease("0.9").item()});
        QTest::newRow("nothing newer") << Route{.body = older} << "" << int(State::UpToDate) << none << idle;
        QTest::newRow("server error") << Route{.status = 500, .body = "oops"} << "" << failed << network << idle;
        QTest::newRow("not XML") << Route{.body = "<html><body>maintenance"} << "" << failed << feed << idle;
        QTest::newRow("over 1 MiB") << Route{.generatedSize = Appcast::MaximumSize + 1} << "" << failed << feed << idle;
        QTest::newRow("redirect here") << Route{.redirectTo = "/moved/appcast.xml"} << "" << available << none << available;
        QTest::newRow("redirect to plain http elsewhere") << Route{.redirectTo = "http://updates.quillmarsh.example/appcast.xml"}
                                                         << "" << failed << network << idle;
        QTest::newRow("unusable key") << Route{.body = newer} << "c2hvcnQ=" << failed << int(UpdateProblem::Configuration) << idle;
    }
    void checkOutcomes()
    {
        QFETCH(Route, appcast);
        QFETCH(QString, publicKey);
        QFETCH(int, problem);
        service.setRoute("/appcast.xml", appcast);
        service.setRoute("/moved/appcast.xml", Route{.body = selfupdatefixtures::document({hubRelease("1.1.0").item()})});
        SelfUpdateConfig settings = config();
        settings.publicKey = publicKey.isEmpty() ? settings.publicKey : publicKey;
        makeUpdater(settings);

        checkAsUser();
        QTEST(int(updater->state()), "userState");
        QCOMPARE(int(updater->problem()), problem);
        QCOMPARE(updater->lastCheck().isValid(), problem != int(UpdateProblem::Configuration));
        QCOMPARE(updater->errorMessage(), userMessage(UpdateProblem(problem)).en);
        QCOMPARE(updater->errorDetail().isEmpty(), problem == int(UpdateProblem::None));

        updater->dismiss();
        QCOMPARE(updater->problem(), UpdateProblem::None);
        seenStates.clear();
        checkAutomatically();
        QTEST(int(updater->state()), "automaticState");
        QVERIFY(!seenStates.contains(State::UpToDate) && !seenStates.contains(State::Failed));
    }

    void offerDescribesTheRelease()
    {
        Release release = hubRelease("1.1.0", true);
        release.version = "1100";
        release.title = "Quillmarsh Hub 1.1";
        release.description = "<h2>New</h2><script>alert(1)</script><p>See <a href=\"https://q.example/n\" onclick=\"x()\">notes</a></p>";
        serveAppcast({release.item()});
        checkAsUser();
        QCOMPARE(updater->offeredVersion(), "1100");
        QCOMPARE(updater->offeredDisplayVersion(), "1.1.0");
        QCOMPARE(updater->offeredTitle(), "Quillmarsh Hub 1.1");
        QVERIFY(updater->isCritical());
        QCOMPARE(updater->releaseNotesHtml(), "<h2>New</h2><p>See <a href=\"https://q.example/n\">notes</a></p>");
        updater->remindLater();

        // Without a description, the notes come from the link, sanitised.
        release.description.clear();
        release.notesLink = service.url("/notes/1.1.0.html").toString();
        serveAppcast({release.item()});
        service.setRoute("/notes/1.1.0.html", Route{.body = "<html><head><title>t</title><script>x()</script></head>"
                                                            "<body><h1>1.1</h1><p>Faster scans</p></body></html>"});
        checkAsUser();
        QTRY_COMPARE(updater->releaseNotesHtml(), "<h1>1.1</h1><p>Faster scans</p>");
    }

    // A skipped version is not offered automatically, but is when the user
    // asks, when something newer comes or when it is critical.
    void skipRule_data()
    {
        QTest::addColumn<QString>("skipped");
        QTest::addColumn<QString>("newest");
        QTest::addColumn<bool>("critical");
        QTest::addColumn<bool>("userInitiated");
        QTest::addColumn<bool>("offered");
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
        QFETCH(bool, offered);
        if (!skipped.isEmpty())
            platform::hubSettings().setValue(SelfUpdater::SkippedVersionKey, skipped);
        serveAppcast({hubRelease("1.0.5").item(), hubRelease(newest, critical).item()});
        userInitiated ? checkAsUser() : checkAutomatically();
        QCOMPARE(updater->state(), offered ? State::UpdateAvailable : State::Idle);
        QCOMPARE(updater->offeredDisplayVersion(), offered ? newest : QString());
    }

    // Skipping remembers the version shown; a critical update is put off,
    // never skipped.
    void skipThisVersion()
    {
        checkAutomatically();
        updater->skipThisVersion();
        QCOMPARE(updater->skippedVersion(), "1.1.0");
        serveAppcast({hubRelease("1.2.0", true).item()});
        checkAutomatically();
        updater->skipThisVersion();
        QCOMPARE(updater->state(), State::Idle);
        QCOMPARE(updater->skippedVersion(), "1.1.0");
    }

    // A check the user asks for during another check, or an open offer,
    // brings that one forward instead of checking again; a cancelled check
    // drops its answer.
    void aCheckAlreadyUnderWay()
    {
        serveAppcast({hubRelease("1.0.0").item()}, 300ms);
        const int before = appcastRequests();
        QSignalSpy raised(updater.get(), &SelfUpdater::raiseRequested);
        QCoro::Task<> automatic = updater->check(false);
        updater->checkForUpdates();
        QCOMPARE(raised.count(), 1);
        QCoro::waitFor(std::move(automatic));
        QCOMPARE(updater->state(), State::UpToDate); // the automatic check became the user's
        updater->dismiss();

        serveAppcast({hubRelease("1.1.0").item()});
        checkAsUser();
        updater->checkForUpdates();
        QCOMPARE(raised.count(), 2);
        QCOMPARE(appcastRequests() - before, 2);
        updater->dismiss();

        serveAppcast({hubRelease("1.1.0").item()}, 200ms);
        bool answered = false;
        connect(&host.network, &QNetworkAccessManager::finished, updater.get(),
                [&](QNetworkReply *reply) { answered |= reply->url().path() == "/appcast.xml"; });
        updater->checkForUpdates();
        updater->cancel();
        QTRY_VERIFY(answered);
        QCoreApplication::processEvents();
        QCOMPARE(updater->state(), State::Idle);
        QVERIFY(!updater->hasOffer());
    }

    // Interval 300 ms; `lastCheckAgo` is how long before now the stored last
    // check was. A check at start is under way as soon as start() returns.
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
        makeUpdater(config("/appcast.xml", enabled ? 300ms : 0ms));
        const int before = appcastRequests();
        updater->start();
        QCOMPARE(updater->state() == State::Checking, checksAtStart);
        if (!enabled)
            return;
        QTRY_VERIFY_WITH_TIMEOUT(appcastRequests() - before >= (checksAtStart ? 3 : 2), 5000);
        // Silent: up to date is never shown.
        for (const State state : std::as_const(seenStates))
            QVERIFY(state == State::Checking || state == State::Idle);
        QCOMPARE(updater->lastCheck(), host.clock.time);
    }

    void scheduleLeavesAnOpenOfferAlone()
    {
        makeUpdater(config("/appcast.xml", 100ms));
        const int before = appcastRequests();
        updater->start();
        QTRY_COMPARE(updater->state(), State::UpdateAvailable);
        // A second schedule on its own feed measures four intervals passing.
        service.setRoute("/witness.xml", Route{.body = selfupdatefixtures::document({})});
        SelfUpdater witness(host.host, config("/witness.xml", 100ms), l10n);
        witness.start();
        QTRY_VERIFY_WITH_TIMEOUT(service.requestCount("/witness.xml") >= 4, 10000);
        QCOMPARE(appcastRequests() - before, 1);
        updater->remindLater();
        QTRY_COMPARE_WITH_TIMEOUT(updater->state(), State::UpdateAvailable, 2000);
        QCOMPARE(appcastRequests() - before, 2);
    }

    // Whatever goes wrong, or when the user cancels part way, Downloads ends
    // as it was: an older file of the same name stays, and no temporary or
    // unverified file is left.
    void installOutcomes_data()
    {
        QTest::addColumn<Route>("route"); // the package when no body
        QTest::addColumn<QString>("signature");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<int>("problem");
        QTest::addColumn<int>("state");
        const QString good = keys.sign(package);
        const qint64 size = package.size();
        QByteArray tampered = package;
        tampered[size / 2] = char(tampered[size / 2] ^ 0x01);
        const int none = int(UpdateProblem::None), length = int(UpdateProblem::Length), signature = int(UpdateProblem::Signature);
        const int ready = State::ReadyToInstall, failed = State::Failed;
        QTest::newRow("signed and whole") << Route{} << good << size << none << ready;
        QTest::newRow("chunked") << Route{.chunkSize = 7001} << good << size << none << ready;
        QTest::newRow("signed by another key") << Route{} << otherKeys.sign(package) << size << signature << failed;
        QTest::newRow("one byte changed") << Route{.body = tampered} << good << size << signature << failed;
        QTest::newRow("longer than the feed says") << Route{} << good << size - 1 << length << failed;
        QTest::newRow("chunked, longer than the feed says") << Route{.chunkSize = 7001} << good << size - 1 << length << failed;
        QTest::newRow("shorter than the feed says") << Route{} << good << size + 1 << length << failed;
        QTest::newRow("broken off") << Route{.truncateAfter = 5000} << good << size << int(UpdateProblem::Transfer) << failed;
        QTest::newRow("cancelled part way") << Route{.chunkSize = 4096, .chunkInterval = 20ms} << good << size << none
                                            << int(State::Idle);
    }
    void installOutcomes()
    {
        QFETCH(Route, route);
        QFETCH(QString, signature);
        QFETCH(qint64, length);
        QFETCH(int, problem);
        QFETCH(int, state);
        const QString saved = downloads() + "/" + PackageName;
        QVERIFY(testfiles::write(saved, "previous download"));
        Release release = hubRelease("1.1.0");
        release.signature = signature;
        release.length = QString::number(length);
        serveAppcast({release.item()});
        route.body = route.body.isEmpty() ? package : route.body;
        service.setRoute(PackageRoute, route);

        checkAsUser();
        QSignalSpy progress(updater.get(), &SelfUpdater::progressChanged);
        updater->install();
        QCOMPARE(updater->state(), State::Downloading);
        QCOMPARE(updater->totalBytes(), length);
        if (state == State::Idle) {
            QTRY_VERIFY(updater->receivedBytes() > 0);
            QVERIFY(updater->progress() < 1.0);
            updater->cancel();
        }
        QTRY_VERIFY_WITH_TIMEOUT(updater->state() != State::Downloading, 10000);
        QCOMPARE(int(updater->state()), state);
        QCOMPARE(int(updater->problem()), problem);
        QCOMPARE(updater->hasOffer(), state != State::Idle);
        QCOMPARE(testfiles::downloadsListing(), QStringList{PackageName});
        const bool verified = state == State::ReadyToInstall;
        QCOMPARE(testfiles::read(saved), verified ? package : QByteArray("previous download"));
        QCOMPARE(updater->downloadedFilePath(), verified ? saved : QString());
        if (verified) { // handed to the desktop while it is there
            QVERIFY(progress.count() >= 2 && updater->progress() == 1.0);
            QVERIFY(updater->openPackage());
            QCOMPARE(host.urlOpener.opened, QList<QUrl>{QUrl::fromLocalFile(saved)});
            QVERIFY(QFile::remove(saved));
            QVERIFY(!updater->openPackage());
            QCOMPARE(updater->problem(), UpdateProblem::PackageMissing);
        }
        if (problem == int(UpdateProblem::Transfer)) { // a failed download can be tried again
            service.setRoute(PackageRoute, Route{.body = package});
            updater->install();
            QTRY_COMPARE(updater->state(), State::ReadyToInstall);
        }
    }

    // The environment's replacements (which the command tests use) fall
    // back to the build's settings, which must be usable.
    void builtInConfigurationIsUsable()
    {
        const SelfUpdateConfig built = SelfUpdateConfig::fromEnvironment();
        QCOMPARE(built.appcastUrl, SelfUpdateConfig::builtIn().appcastUrl);
        QVERIFY2(built.validate().ok(), qPrintable(built.validate().error));
    }
};

HUB_TEST_MAIN(SelfUpdaterTest)
#include "tst_selfupdater.moc"
