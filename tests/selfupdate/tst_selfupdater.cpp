#include "SelfUpdateFixtures.h"
#include "l10n/L10n.h"
#include "platform/Settings.h"
#include "selfupdate/AppcastFetch.h"
#include "selfupdate/SelfUpdater.h"
#include "selfupdate/SignatureVerifier.h"
#include "support/Files.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)
Q_DECLARE_METATYPE(UpdateProblem)
using selfupdatefixtures::Keys;
using selfupdatefixtures::Release;
using State = SelfUpdater::State;

class SelfUpdaterTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    LocalHttpService tls{LocalHttpService::Scheme::Https};
    TestHost host;
    L10n l10n;
    const Keys keys = Keys::generate();
    const QByteArray package = LocalHttpService::generatedBytes(0, 100 * 1000);
    std::unique_ptr<SelfUpdater> updater;

    // Automatic checks only with an interval.
    void makeUpdater(std::chrono::milliseconds interval = 0ms)
    {
        const SelfUpdateConfig config{service.url("/appcast.xml"), keys.publicBase64(), interval > 0ms, interval > 0ms ? interval : 24h};
        updater = std::make_unique<SelfUpdater>(host.host, config, l10n);
    }

    // A release of the test package, signed with the test key.
    Release hubRelease(const QString &version, bool critical = false) const
    {
        const QString url = service.url("/releases/QuillmarshHub-" + version + ".deb").toString();
        Release release{version, version, url, QString::number(package.size()), keys.sign(package)};
        release.critical = critical;
        return release;
    }

    void serveAppcast(const QList<QByteArray> &items)
    {
        service.setRoute("/appcast.xml", Route{.body = selfupdatefixtures::document(items)});
    }

    void checkAsUser()
    {
        updater->checkForUpdates();
        QTRY_VERIFY(updater->state() != State::Checking);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen() && tls.listen());
        QCoreApplication::setApplicationVersion("1.0.0");
        QVERIFY(signing::initialise());
        l10n.setLanguage(AppLanguage::En);
    }

    void init()
    {
        platform::hubSettings().remove(SelfUpdater::LastCheckKey);
        platform::hubSettings().remove(SelfUpdater::SkippedVersionKey);
        QDir(TestSandbox::current().downloads()).removeRecursively();
        serveAppcast({hubRelease("1.1.0").item()});
        makeUpdater();
    }

    void cleanup() { updater.reset(); }

    // Only the user sees "up to date" and failures.
    void checkOutcomes_data()
    {
        QTest::addColumn<Route>("appcast");
        QTest::addColumn<State>("userState");
        QTest::addColumn<UpdateProblem>("problem");
        QTest::addColumn<State>("automaticState");
        const QByteArray newer = selfupdatefixtures::document({hubRelease("1.1.0").item()});
        const QByteArray older = selfupdatefixtures::document({hubRelease("1.0.0").item(), hubRelease("0.9").item()});
        QTest::newRow("newer release") << Route{.body = newer} << State::UpdateAvailable << UpdateProblem::None << State::UpdateAvailable;
        QTest::newRow("nothing newer") << Route{.body = older} << State::UpToDate << UpdateProblem::None << State::Idle;
        QTest::newRow("server error") << Route{.status = 500} << State::Failed << UpdateProblem::Network << State::Idle;
        QTest::newRow("not XML") << Route{.body = "<html>"} << State::Failed << UpdateProblem::Feed << State::Idle;
    }
    void checkOutcomes()
    {
        QFETCH(Route, appcast);
        QFETCH(UpdateProblem, problem);
        service.setRoute("/appcast.xml", appcast);
        checkAsUser();
        QTEST(updater->state(), "userState");
        QCOMPARE(updater->problem(), problem);
        QCOMPARE(updater->errorMessage(), userMessage(problem).en);
        updater->dismiss();
        QCoro::waitFor(updater->check(false));
        QTEST(updater->state(), "automaticState");
    }

    // 1.1.0 is skipped: it is not offered automatically, but is when the
    // user asks, when something newer comes or when it is critical. Skipping
    // an offer stores its version, unless it is critical: that is only put off.
    void skipRule_data()
    {
        QTest::addColumn<QString>("newest");
        QTest::addColumn<bool>("critical");
        QTest::addColumn<bool>("userInitiated");
        QTest::addColumn<bool>("offered");
        QTest::newRow("skipped, automatic") << "1.1.0" << false << false << false;
        QTest::newRow("skipped, user asks") << "1.1.0" << false << true << true;
        QTest::newRow("newer than skipped") << "1.2" << false << false << true;
        QTest::newRow("skipped but now critical") << "1.1.0" << true << false << true;
    }
    void skipRule()
    {
        QFETCH(QString, newest);
        QFETCH(bool, critical);
        QFETCH(bool, offered);
        platform::hubSettings().setValue(SelfUpdater::SkippedVersionKey, "1.1.0");
        serveAppcast({hubRelease("1.0.5").item(), hubRelease(newest, critical).item()});
        QFETCH(bool, userInitiated);
        userInitiated ? checkAsUser() : QCoro::waitFor(updater->check(false));
        QCOMPARE(updater->state(), offered ? State::UpdateAvailable : State::Idle);
        QCOMPARE(updater->offeredDisplayVersion(), offered ? newest : QString());
        updater->skipThisVersion();
        QCOMPARE(updater->state(), State::Idle);
        QCOMPARE(updater->skippedVersion(), offered && !critical ? newest : "1.1.0");
    }

    // The first automatic check waits for what is left of the interval (an
    // hour) since the stored last check; at once when there was none, when
    // it is older than the interval or when it lies in the future (the clock
    // was set back). Every later check waits the whole interval.
    void firstAutomaticCheck_data()
    {
        QTest::addColumn<QVariant>("lastCheckAgo"); // minutes before now
        QTest::addColumn<int>("firstWait");         // minutes; 0: a check at start
        QTest::newRow("never checked") << QVariant() << 0;
        QTest::newRow("checked 10 min ago") << QVariant(10) << 50;
        QTest::newRow("checked just now") << QVariant(0) << 60;
        QTest::newRow("checked 2 h ago") << QVariant(120) << 0;
        QTest::newRow("last check in the future") << QVariant(-60) << 0;
    }
    void firstAutomaticCheck()
    {
        QFETCH(QVariant, lastCheckAgo);
        QFETCH(int, firstWait);
        serveAppcast({hubRelease("1.0.0").item()});
        if (lastCheckAgo.isValid())
            platform::hubSettings().setValue(SelfUpdater::LastCheckKey, host.clock.time.addSecs(-60 * lastCheckAgo.toInt()));
        makeUpdater(1h);
        host.sleeper.waits.clear();
        const int before = service.requestCount("/appcast.xml");
        updater->start();
        QCOMPARE(updater->state() == State::Checking, firstWait == 0);
        QTRY_COMPARE(host.sleeper.waits.size(), 1);
        QCOMPARE(host.sleeper.waits.first(), firstWait == 0 ? 60min : std::chrono::minutes(firstWait));
        QCOMPARE(service.requestCount("/appcast.xml") - before, firstWait == 0 ? 1 : 0);
        if (firstWait == 0)
            QCOMPARE(updater->lastCheck(), host.clock.time);
    }

    // An appcast served over https may move, but never to plain http, not
    // even on this machine.
    void appcastRedirects_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<bool>("fetched");
        QTest::newRow("https to https") << tls.url("/moved.xml").toEncoded() << true;
        QTest::newRow("https to http") << service.url("/appcast.xml").toEncoded() << false;
    }
    void appcastRedirects()
    {
        QFETCH(QByteArray, target);
        tls.setRoute("/appcast.xml", Route{.redirectTo = target});
        tls.setRoute("/moved.xml", Route{.body = selfupdatefixtures::document({hubRelease("1.1.0").item()})});
        const int before = service.requestCount("/appcast.xml");
        const auto result = QCoro::waitFor(selfupdate::fetchAppcast(host.network, tls.url("/appcast.xml"), host.limits.appcast));
        QTEST(result.outcome.ok(), "fetched");
        QCOMPARE(service.requestCount("/appcast.xml"), before); // the http side is never asked
    }

    // Whatever goes wrong, or when the user cancels part way, Downloads ends
    // as it was: an older file of the same name stays, and no unverified
    // file is left.
    void installOutcomes_data()
    {
        QTest::addColumn<Route>("route"); // the package when no body
        QTest::addColumn<QString>("signature");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<UpdateProblem>("problem");
        QTest::addColumn<bool>("installerTakes"); // once verified
        const QString good = keys.sign(package);
        const qint64 size = package.size();
        QByteArray tampered = package;
        tampered[size / 2] = char(tampered[size / 2] ^ 0x01);
        QTest::newRow("verified, an installer takes it") << Route{} << good << size << UpdateProblem::None << true;
        QTest::newRow("verified, no installer") << Route{} << good << size << UpdateProblem::None << false;
        QTest::newRow("signed by another key") << Route{} << Keys::generate().sign(package) << size << UpdateProblem::Signature << false;
        QTest::newRow("one byte changed") << Route{.body = tampered} << good << size << UpdateProblem::Signature << false;
        QTest::newRow("longer than the feed says") << Route{} << good << size - 1 << UpdateProblem::Length << false;
        QTest::newRow("broken off") << Route{.truncateAfter = 5000} << good << size << UpdateProblem::Transfer << false;
        QTest::newRow("cancelled part way") << Route{.chunkSize = 4096, .chunkInterval = 20ms} << good << size
                                            << UpdateProblem::None << false;
    }
    void installOutcomes()
    {
        QFETCH(Route, route);
        QFETCH(QString, signature);
        QFETCH(qint64, length);
        QFETCH(UpdateProblem, problem);
        const QString saved = TestSandbox::current().downloads() + "/QuillmarshHub-1.1.0.deb";
        QVERIFY(testfiles::write(saved, "previous download"));
        Release release = hubRelease("1.1.0");
        release.signature = signature;
        release.length = QString::number(length);
        serveAppcast({release.item()});
        route.body = route.body.isEmpty() ? package : route.body;
        service.setRoute("/releases/QuillmarshHub-1.1.0.deb", route);

        checkAsUser();
        updater->install();
        QCOMPARE(updater->state(), State::Downloading);
        const bool cancelled = route.chunkSize > 0;
        if (cancelled) {
            QTRY_VERIFY(updater->receivedBytes() > 0);
            updater->cancel();
        }
        QTRY_VERIFY_WITH_TIMEOUT(updater->state() != State::Downloading, 10000);
        const bool verified = !cancelled && problem == UpdateProblem::None;
        QCOMPARE(updater->state(), cancelled ? State::Idle : verified ? State::ReadyToInstall : State::Failed);
        QCOMPARE(updater->problem(), problem);
        QCOMPARE(testfiles::downloadsListing(), QStringList{"QuillmarshHub-1.1.0.deb"});
        QCOMPARE(testfiles::read(saved), verified ? package : QByteArray("previous download"));
        QCOMPARE(updater->downloadedFilePath(), verified ? saved : QString());
        if (!verified)
            return;

        // The hub quits only once a software installer has taken the
        // package; otherwise it stays, says what to do and shows the package.
        QFETCH(bool, installerTakes);
        host.packageInstaller.takes = installerTakes;
        host.packageInstaller.offered.clear();
        host.revealer.revealed.clear();
        QSignalSpy quit(updater.get(), &SelfUpdater::quitRequested);
        updater->quitAndInstall();
        QTRY_COMPARE(host.packageInstaller.offered, QStringList{saved});
        QCOMPARE(quit.count(), installerTakes ? 1 : 0);
        QCOMPARE(updater->needsManualInstall(), !installerTakes);
        QCOMPARE(host.revealer.revealed, installerTakes ? QStringList{} : QStringList{saved});
        QCOMPARE(updater->state(), State::ReadyToInstall);
    }

    // A release marked informational is shown with its page, never fetched.
    void informationalIsNeverDownloaded()
    {
        QByteArray item = hubRelease("1.1.0").item();
        item.insert(item.indexOf("<enclosure"), "<link>https://www.quillmarsh.example/hub</link><sparkle:informationalUpdate/>");
        serveAppcast({item});
        checkAsUser();
        QCOMPARE(updater->state(), State::UpdateAvailable);
        QVERIFY(updater->isInformational());
        QCOMPARE(updater->offeredPage(), QUrl("https://www.quillmarsh.example/hub"));
        const int before = service.totalRequests();
        updater->install();
        QTest::qWait(50);
        QCOMPARE(service.totalRequests(), before);
        QCOMPARE(updater->state(), State::UpdateAvailable);
    }
};

HUB_TEST_MAIN(SelfUpdaterTest)
#include "tst_selfupdater.moc"
