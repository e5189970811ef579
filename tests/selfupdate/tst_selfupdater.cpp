#include "SelfUpdateFixtures.h"
#include "l10n/L10n.h"
#include "platform/Settings.h"
#include "selfupdate/AppcastFetch.h"
#include "selfupdate/ReleaseNotes.h"
#include "selfupdate/SelfUpdater.h"
#include "selfupdate/SignatureVerifier.h"
#include "support/Files.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
Q_DECLARE_METATYPE(UpdateProblem)
Q_DECLARE_METATYPE(OfferRules)
using selfupdatefixtures::Keys;
using selfupdatefixtures::Release;
using selfupdatefixtures::document;
using State = SelfUpdater::State;

// The appcast as read, and the self-updater that acts on it.
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
    Release release(const QString &version, bool critical = false) const
    {
        const QString url = service.url("/releases/QuillmarshHub-" + version + ".deb").toString();
        return {.version = version, .shortVersion = version, .url = url, .length = QString::number(package.size()),
                .signature = keys.sign(package), .critical = critical};
    }

    // `extra` inside the item, before its enclosure (or instead of it).
    QByteArray itemWith(const QString &version, const QByteArray &extra, bool enclosure = true) const
    {
        const QByteArray item = release(version).item();
        const qsizetype at = item.indexOf("<enclosure");
        return item.left(at) + extra + (enclosure ? item.mid(at) : QByteArray("</item>"));
    }

    void serveAppcast(const QList<QByteArray> &items) { service.setRoute("/appcast.xml", Route{.body = document(items)}); }

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
        serveAppcast({release("1.1.0").item()});
        makeUpdater();
    }

    void cleanup() { updater.reset(); }

    // Notes and their links follow xml:lang, falling back to those without
    // a language.
    void notesFollowTheLanguage()
    {
        const auto appcast = Appcast::parse(document({itemWith("1.4.0", "<description><![CDATA[<p>New <b>things</b></p>]]></description>"
            "<description xml:lang=\"ja\">日本語</description><sparkle:releaseNotesLink>https://www.quillmarsh.example/en</sparkle:releaseNotesLink>"
            "<sparkle:releaseNotesLink xml:lang=\"ja\">https://www.quillmarsh.example/ja</sparkle:releaseNotesLink>")}));
        QVERIFY(appcast && appcast->items().size() == 1);
        const AppcastItem &parsed = appcast->items().first();
        QCOMPARE((QStringList{parsed.descriptionFor("en"), parsed.descriptionFor("ja"), parsed.releaseNotesLinkFor("en").toString(),
                              parsed.releaseNotesLinkFor("ja").toString()}),
                 (QStringList{"<p>New <b>things</b></p>", "日本語", "https://www.quillmarsh.example/en", "https://www.quillmarsh.example/ja"}));
    }

    // The namespace URI decides, whatever its prefix; a document that is not
    // well-formed XML of at most 1 MiB yields no feed at all.
    void documents_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<int>("items"); // -1: no feed
        const QByteArray good = document({release("1.1").item()});
        QTest::newRow("other prefix") << document({release("1.1").item("q")}, "q") << 1;
        QTest::newRow("sparkle prefix, other namespace") << QByteArray(good).replace(Appcast::SparkleNamespace, "http://example.com/other") << 0;
        QByteArray oversized = good;
        QTest::newRow("over 1 MiB") << oversized.insert(oversized.indexOf("<rss"), "<!--" + QByteArray(Appcast::MaximumSize, 'x') + "-->") << -1;
        QByteArray deep = good;
        QTest::newRow("nested 100,000 deep")
            << deep.insert(deep.indexOf("</channel>"), QByteArray("<x>").repeated(100000) + QByteArray("</x>").repeated(100000)) << -1;
    }
    void documents()
    {
        QFETCH(QByteArray, xml);
        const auto appcast = Appcast::parse(xml);
        QTEST(appcast ? int(appcast->items().size()) : -1, "items");
    }

    // The newest usable release newer than the running 1.0.0, among those
    // that channels, informational releases, phased rollouts and minimum
    // versions for automatic updates allow, each as the appcast convention
    // defines them; the items were published at the clock's now. Unusable
    // items are never offered.
    void offer_data()
    {
        QTest::addColumn<QList<QByteArray>>("items");
        QTest::addColumn<OfferRules>("rules");
        QTest::addColumn<QString>("offered"); // empty: none
        const QDateTime published = QDateTime::fromString("Mon, 23 Nov 2026 14:05:00 +0000", Qt::RFC2822Date), dayTwo = published.addDays(1);
        const OfferRules automatic{.now = published}, user{.automatic = false, .now = published}, beta{.channels = {"beta"}, .now = published};
        const OfferRules lateGroup{.now = dayTwo, .rolloutGroup = 6}, lateGroupAsking{.automatic = false, .now = dayTwo, .rolloutGroup = 6};
        auto broken = [this](auto change) {
            Release r = release("2.0");
            change(r);
            return QList<QByteArray>{release("1.1").item(), r.item()};
        };
        QTest::newRow("newest wherever it is") << QList<QByteArray>{release("1.1").item(), release("1.3").item(), release("1.2").item()} << automatic << "1.3";
        QTest::newRow("numeric, not textual") << QList<QByteArray>{release("1.9").item(), release("1.10").item()} << automatic << "1.10";
        QTest::newRow("nothing newer") << QList<QByteArray>{release("1.0").item(), release("0.9").item()} << automatic << "";
        QTest::newRow("other system") << broken([](Release &r) { r.os = "windows"; }) << automatic << "1.1";
        QTest::newRow("no signature") << broken([](Release &r) { r.signature.clear(); }) << automatic << "1.1";
        QTest::newRow("no version") << broken([](Release &r) { r.version.clear(), r.shortVersion.clear(); }) << automatic << "1.1";
        QTest::newRow("no enclosure") << QList<QByteArray>{release("1.1").item(), itemWith("2.0", "", false)} << automatic << "1.1";
        const QList<QByteArray> onBeta{release("1.1").item(), itemWith("9.0", "<sparkle:channel>beta</sparkle:channel>")};
        QTest::newRow("beta item, nobody chose beta") << onBeta << automatic << "1.1";
        QTest::newRow("beta item, beta chosen") << onBeta << beta << "9.0";
        const QByteArray page = "<link>https://www.quillmarsh.example/hub/2.0</link><sparkle:informationalUpdate/>";
        QTest::newRow("informational") << QList<QByteArray>{itemWith("2.0", page, false)} << automatic << "2.0 informational";
        const QByteArray below = "<sparkle:informationalUpdate><sparkle:belowVersion>0.5</sparkle:belowVersion></sparkle:informationalUpdate>";
        QTest::newRow("informational below an older version") << QList<QByteArray>{itemWith("2.0", below)} << automatic << "2.0";
        const QList<QByteArray> phased{itemWith("2.0", "<sparkle:phasedRolloutInterval>86400</sparkle:phasedRolloutInterval>")};
        QTest::newRow("phased, first group") << phased << automatic << "2.0";
        QTest::newRow("phased, last group on day one") << phased << lateGroup << "";
        QTest::newRow("phased, last group asking") << phased << lateGroupAsking << "2.0";
        const QList<QByteArray> minimum{itemWith("2.0", "<sparkle:minimumAutoupdateVersion>1.5</sparkle:minimumAutoupdateVersion>")};
        QTest::newRow("below the minimum, automatic") << minimum << automatic << "";
        QTest::newRow("below the minimum, asking") << minimum << user << "2.0";
    }
    void offer()
    {
        QFETCH(QList<QByteArray>, items);
        QFETCH(OfferRules, rules);
        const auto appcast = Appcast::parse(document(items));
        QVERIFY(appcast);
        const AppcastItem offered = appcast->offerFor("1.0.0", rules).value_or(AppcastItem());
        QTEST(offered.comparableVersion() + (offered.isInformationalFor("1.0.0") ? " informational" : ""), "offered");
    }

    void releaseNotesAreSanitised_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("expected");
        QTest::newRow("script and its text dropped") << "<p>a</p><script>alert('x')</script><p>b</p>" << "<p>a</p><p>b</p>";
        QTest::newRow("javascript link dropped, text kept") << "<a href=\"jav&#x61;script:alert(1)\">x</a>" << "x";
        QTest::newRow("https link kept, handlers dropped") << "<a href=\"https://quillmarsh.example/notes\" onclick=\"x()\">notes</a>"
                                                           << "<a href=\"https://quillmarsh.example/notes\">notes</a>";
        // 4 MiB of '&' in an attribute: linear work takes milliseconds, a
        // forward search from each '&' would outlast the suite's timeout.
        QTest::newRow("many ampersands") << "<p title=\"" + QString(4 * 1024 * 1024, u'&') + "\">t</p>" << "<p>t</p>";
    }
    void releaseNotesAreSanitised()
    {
        QFETCH(QString, html);
        QTEST(releasenotes::sanitize(html), "expected");
    }

    // A failed check is the user's to see, with its cause; after an
    // automatic one the updater stays quiet. (What a successful check shows
    // is the update window's test.)
    void failedChecks_data()
    {
        QTest::addColumn<Route>("appcast");
        QTest::addColumn<UpdateProblem>("problem");
        QTest::newRow("server error") << Route{.status = 500} << UpdateProblem::Network;
        QTest::newRow("not XML") << Route{.body = "<html>"} << UpdateProblem::Feed;
    }
    void failedChecks()
    {
        QFETCH(Route, appcast);
        QFETCH(UpdateProblem, problem);
        service.setRoute("/appcast.xml", appcast);
        checkAsUser();
        QCOMPARE(updater->state(), State::Failed);
        QCOMPARE(updater->problem(), problem);
        QCOMPARE(updater->errorMessage(), userMessage(problem).en);
        updater->dismiss();
        QCoro::waitFor(updater->check(false));
        QCOMPARE(updater->state(), State::Idle);
    }

    // 1.1.0 is skipped, yet offered when the user asks, when something newer
    // comes or when it is critical. Skipping an offer stores its version,
    // unless it is critical: that is only put off.
    void skipRule_data()
    {
        QTest::addColumn<QString>("newest");
        QTest::addColumn<bool>("critical");
        QTest::addColumn<bool>("userInitiated");
        QTest::addColumn<bool>("offered");
        QTest::newRow("skipped, user asks") << "1.1.0" << false << true << true;
        QTest::newRow("newer than skipped") << "1.2" << false << false << true;
        QTest::newRow("skipped but now critical") << "1.1.0" << true << false << true;
    }
    void skipRule()
    {
        QFETCH(QString, newest);
        QFETCH(bool, critical);
        QFETCH(bool, userInitiated);
        QFETCH(bool, offered);
        platform::hubSettings().setValue(SelfUpdater::SkippedVersionKey, "1.1.0");
        serveAppcast({release("1.0.5").item(), release(newest, critical).item()});
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
        serveAppcast({release("1.0.0").item()});
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
        tls.setRoute("/moved.xml", Route{.body = document({release("1.1.0").item()})});
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
        QTest::addColumn<Route>("route");
        QTest::addColumn<QString>("signature");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<UpdateProblem>("problem");
        QTest::addColumn<bool>("installerTakes"); // once verified
        const QString good = keys.sign(package);
        const qint64 size = package.size();
        QByteArray tampered = package;
        tampered[size / 2] = char(tampered[size / 2] ^ 0x01);
        const Route served{.body = package};
        QTest::newRow("verified, an installer takes it") << served << good << size << UpdateProblem::None << true;
        QTest::newRow("verified, no installer") << served << good << size << UpdateProblem::None << false;
        QTest::newRow("signed by another key") << served << Keys::generate().sign(package) << size << UpdateProblem::Signature << false;
        QTest::newRow("one byte changed") << Route{.body = tampered} << good << size << UpdateProblem::Signature << false;
        QTest::newRow("longer than the feed says") << served << good << size - 1 << UpdateProblem::Length << false;
        QTest::newRow("broken off") << Route{.body = package, .truncateAfter = 5000} << good << size << UpdateProblem::Transfer << false;
        QTest::newRow("cancelled part way") << Route{.body = package, .chunkSize = 4096, .chunkInterval = 20ms} << good << size << UpdateProblem::None << false;
    }
    void installOutcomes()
    {
        QFETCH(Route, route);
        QFETCH(QString, signature);
        QFETCH(qint64, length);
        QFETCH(UpdateProblem, problem);
        const QString saved = TestSandbox::current().downloads() + "/QuillmarshHub-1.1.0.deb";
        QVERIFY(testfiles::write(saved, "previous download"));
        Release offered = release("1.1.0");
        offered.signature = signature;
        offered.length = QString::number(length);
        serveAppcast({offered.item()});
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
        serveAppcast({itemWith("1.1.0", "<link>https://www.quillmarsh.example/hub</link><sparkle:informationalUpdate/>")});
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
