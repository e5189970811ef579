#include "catalog/ProductCatalogManager.h"
#include "support/Fixtures.h"
#include "support/LinuxBundles.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "l10n/L10n.h"
#include "platform/ResumeRecord.h"
#include "updates/DownloadProgress.h"
#include "updates/InstallerDownload.h"
#include "updates/NotesExcerpt.h"
#include "updates/PluginVersionInfo.h"
#include "updates/UpdateManager.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using fixtures::version;

// A bundle per format at its version, under a folder of the product.
static QJsonObject installBundles(const QString &id, const QMap<QString, QString> &formatVersions)
{
    QJsonObject formats;
    for (auto it = formatVersions.cbegin(); it != formatVersions.cend(); ++it) {
        const QString path = QString("Plugins/%1/%2.bundle").arg(id, it.key());
        plistwriter::writeBundle(TestSandbox::current().home() + "/" + path, {{"CFBundleShortVersionString", it.value()}}, plistwriter::Format::Xml);
        formats.insert(it.key(), path);
    }
    return formats;
}

class UpdateManagerTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    std::unique_ptr<ProductCatalogManager> catalog;
    std::unique_ptr<UpdateManager> manager;

    void serveCatalog(const QJsonArray &products)
    {
        service.setRoute("/catalog", Route{.body = fixtures::document(products)});
        QVERIFY(QCoro::waitFor(catalog->fetchCatalog()).ok());
        manager->rebuildStates();
    }
    void serveFeed(const QJsonArray &records) { service.setRoute("/versions", Route{.body = fixtures::document(records)}); }
    bool check() { return QCoro::waitFor(manager->checkForUpdates()).ok(); }
    ProductUpdateState state(const QString &id) const { return manager->states().value(id); }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QCoreApplication::setApplicationVersion("1.2.5");
        host.limits.installer = {64 * 1024, 200ms, 600ms};
    }

    void init()
    {
        QDir(TestSandbox::current().downloads()).removeRecursively();
        host.revealer = {};
        catalog = std::make_unique<ProductCatalogManager>(host.paths.hubDirectory(), service.url("/catalog"), host.host);
        manager = std::make_unique<UpdateManager>(service.url("/versions"), host.host);
        manager->bindCatalog(catalog.get());
        serveFeed({});
    }

    void isNewer_data()
    {
        QTest::addColumn<QString>("candidate");
        QTest::addColumn<QString>("reference");
        QTest::addColumn<bool>("newer");
        QTest::newRow("numeric, not textual") << "1.10" << "1.9" << true;
        QTest::newRow("trailing zero equal") << "1.2.0" << "1.2" << false;
        QTest::newRow("extra component") << "1.2.1" << "1.2" << true;
        QTest::newRow("suffix drops piece") << "2.0-beta" << "1.9" << true;
        QTest::newRow("suffix shifts rest") << "1.2-beta" << "1.1" << false;
        QTest::newRow("2.0b1 is (2)") << "2.0b1" << "2" << false;
        QTest::newRow("V3.1 is (1)") << "V3.1" << "1" << false;
        QTest::newRow("empty vs zeros") << "" << "0.0.0" << false;
        QTest::newRow("negative component") << "1.-1" << "1" << false;
        QTest::newRow("explicit plus") << "+2" << "1" << true;
        QTest::newRow("lone sign dropped") << "1.-.5" << "1.4" << true;
        QTest::newRow("double sign dropped") << "1.+-5" << "1" << false;
        QTest::newRow("dots everywhere") << "..1..2.." << "1.2" << false;
        QTest::newRow("spaces drop piece") << "1. 2" << "1" << false;
        QTest::newRow("non-ASCII digits dropped") << "1.٣" << "1" << false;
        QTest::newRow("int64 max fits") << "9223372036854775807" << "9223372036854775806" << true;
        QTest::newRow("overflow dropped") << "1.9223372036854775808" << "1" << false;
        QTest::newRow("int64 min fits") << "-9223372036854775808" << "-9223372036854775807" << false;
        QTest::newRow("below int64 min dropped") << "-9223372036854775809.2" << "1" << true;
        QTest::newRow("leading zeros") << "1.010" << "1.9" << true;
        QTest::newRow("long numbers") << "1.00000000000000000000000000002" << "1.1" << true;
        QTest::newRow("zero padding beats nothing") << "1.0.0.0.1" << "1" << true;
    }
    void isNewer()
    {
        QFETCH(QString, candidate);
        QFETCH(QString, reference);
        QFETCH(bool, newer);
        QCOMPARE(UpdateManager::isNewer(candidate, reference), newer);
        // Never both ways, never newer than itself.
        QVERIFY(!(newer && UpdateManager::isNewer(reference, candidate)));
        QVERIFY(!UpdateManager::isNewer(candidate, candidate));
    }

    // The feed in document order; null counts as absent, unknown keys are
    // ignored; one bad record rejects it all, a present sha256 or size of
    // the wrong form included. (A missing download_url fails the check
    // below; the document's shape is the catalogue's test.)
    void decodesFeed()
    {
        const QString digest(64, 'A');
        const auto feed = PluginVersionInfo::decodeFeed(json("[{'plugin_id':'a','version':'1.0','download_url':'u','extra':[1],'size':0},"
                                                             "{'plugin_id':'hub','version':'2.0','download_url':'h','release_notes':'Fixes','min_os_version':null,"
                                                             "'sha256':'") + digest.toLatin1() + json("','size':null}]"));
        QCOMPARE(feed, (QList<PluginVersionInfo>{{"a", "1.0", "u", {}, {}, {}, 0}, {PluginVersionInfo::HubId, "2.0", "h", "Fixes", {}, digest, {}}}));
        const QByteArray good = json("[{'plugin_id':'a','version':'1','download_url':'u'},{'plugin_id':'b','version':'1','download_url':'u',");
        for (const char *bad : {"'version':1.2}]", "'release_notes':3}]", "'sha256':'abc'}]", "'sha256':7}]", "'size':-1}]", "'size':'12'}]", "'size':1.5}]"})
            QVERIFY2(!PluginVersionInfo::decodeFeed(good + json(bad)), bad);
        QVERIFY(!PluginVersionInfo::decodeFeed(good + "\"sha256\":\"" + QByteArray(63, 'a') + "g\"}]"));
    }

    // Release notes as their tooltips show them.
    void notesExcerpts_data()
    {
        QTest::addColumn<QString>("notes");
        QTest::addColumn<QString>("expected");
        const QString word = "word ";
        QTest::newRow("markup kept as written") << "<b>Fixes</b> &amp; more" << "<b>Fixes</b> &amp; more";
        QTest::newRow("controls, blank lines, ends") << "  a\tb\u2028c\r\n\r\n \n\nd\u0007 " << "a b c\n\nd";
        QTest::newRow("cut at a word") << word.repeated(100) << word.repeated(80).trimmed() + "\u2026";
        QTest::newRow("one long word cut whole") << QString(500, 'x') << QString(notes::ExcerptLength, 'x') + "\u2026";
        QTest::newRow("no half surrogate pair") << QString(399, 'x') + QString("\U0001F3B5").repeated(10)
                                                << QString(399, 'x') + "\u2026";
    }
    void notesExcerpts()
    {
        QFETCH(QString, notes);
        QTEST(notes::excerpt(notes), "expected");
    }

    // Applying: any installed version older counts; a rebuild uses the
    // lowest installed version text. (Products not installed are the status
    // command's and the updates table's test.)
    void applyVersusRebuild()
    {
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.9"}, {"VST3", "1.10"}}))});
        serveFeed({version("p", "1.10")});
        QVERIFY(check());
        QCOMPARE(state("p").status, UpdateStatus::updateAvailable("1.10", *state("p").downloadURL));
        manager->rebuildStates();
        QCOMPARE(state("p").status, UpdateStatus::upToDate());
        QCOMPARE(state("p").latestVersion, QString("1.10"));
    }

    // The record's notes, digest and size ride with its version, through
    // rebuilds; the first applied feed clears partial files it no longer offers.
    void feedChecksCarried()
    {
        const QString stale = TestSandbox::current().downloads() + "/" + platform::ResumeRecord::partialFileName(QUrl("https://dl.example/withdrawn.dmg"));
        QVERIFY(testfiles::write(stale, "part"));
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}}))});
        QJsonObject record = version("p", "2.0");
        record.insert("release_notes", "Notes");
        record.insert("sha256", QString(64, 'f'));
        record.insert("size", 12);
        serveFeed({record});
        QVERIFY(check());
        manager->rebuildStates();
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}})), fixtures::product("q")});
        QCOMPARE((QList<QVariant>{*state("p").releaseNotes, *state("p").expectedSha256, *state("p").expectedSize}),
                 (QList<QVariant>{"Notes", QString(64, 'f'), qint64(12)}));
        QVERIFY(!QFile::exists(stale));
    }

    // Product records apply in order, only to known products, each notifying;
    // the hub's record notifies only when it changes.
    void notifications()
    {
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}}))});
        QSignalSpy states(manager.get(), &UpdateManager::statesChanged);
        QSignalSpy hubChanged(manager.get(), &UpdateManager::hubSelfUpdateChanged);
        serveFeed({version("p", "2.0"), version("unknown", "9.9"), version("p", "0.5"), version("hub", "1.3")});
        QVERIFY(check());
        QCOMPARE(states.count(), 2);
        QCOMPARE(state("p").status, UpdateStatus::upToDate()); // the later record wins
        QVERIFY(!manager->states().contains("unknown"));
        QCOMPARE(manager->hubSelfUpdate().status.kind, UpdateStatus::UpdateAvailable);
        QVERIFY(check()); // the same record again: no notification
        serveFeed({version("hub", "1.0")}); // a later record that is not newer
        QVERIFY(check());
        QCOMPARE(manager->hubSelfUpdate().status.kind, UpdateStatus::UpToDate);
        QCOMPARE(hubChanged.count(), 2);
        QCOMPARE(states.count(), 4);
    }

    // A check while one runs returns at once; only a usable feed counts as a check.
    void checks()
    {
        service.setRoute("/versions", Route{.body = json("[{'plugin_id':'p','version':'1'}]"), .delay = 100ms}); // no download_url
        const int before = service.requestCount("/versions");
        auto first = manager->checkForUpdates();
        QVERIFY(manager->isChecking());
        QVERIFY(!QCoro::waitFor(manager->checkForUpdates()).ok());
        QVERIFY(!QCoro::waitFor(std::move(first)).ok());
        QCOMPARE(service.requestCount("/versions"), before + 1);
        QVERIFY(!manager->lastChecked());
        serveFeed({});
        QVERIFY(check());
        QCOMPARE(manager->lastChecked().value_or(QDateTime()), host.clock.time);
    }

    // A feed that answers before the first catalogue finds no states; the
    // first catalogue then brings one more check, and only the first does.
    void firstCatalogueAfterAnEarlyFeedChecksAgain()
    {
        serveFeed({version("p", "2.0")});
        QVERIFY(check());
        const int before = service.requestCount("/versions");
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}}))});
        QTRY_COMPARE(state("p").status.kind, UpdateStatus::UpdateAvailable);
        QTRY_VERIFY(!manager->isChecking());
        manager->rebuildStates();
        QCOMPARE(service.requestCount("/versions"), before + 1);
    }

    // Plug-ins that only a scan can read are scanned once while unchanged,
    // again once changed, and their versions reach the states.
    void scansOnlyWhatChanged()
    {
        const QString clap = TestSandbox::current().home() + "/.clap/Marsh.clap";
        QVERIFY(linuxbundles::installClap(clap, "marsh-noisy"));
        const int before = host.pluginScanner.processesStarted();
        serveCatalog({fixtures::product("p", QJsonObject{{"CLAP", ".clap/Marsh.clap"}})});
        QCoro::waitFor(manager->finishPluginScans());
        QCOMPARE(state("p").installedVersions.value("CLAP"), "2.0.0");
        serveFeed({version("p", "3.0")});
        QVERIFY(check());
        manager->rebuildStates(); // unchanged: not scanned again
        QCoro::waitFor(manager->finishPluginScans());
        QVERIFY(linuxbundles::installClap(clap, "marsh-test"));
        manager->rebuildStates();
        QCoro::waitFor(manager->finishPluginScans());
        QCOMPARE(host.pluginScanner.processesStarted(), before + 2);
        QCOMPARE(state("p").installedVersions.value("CLAP"), "3.2.1");
        QCOMPARE(state("p").status, UpdateStatus::upToDate());
    }

    // The URL's last path component, decoded, trailing slashes ignored as a
    // file manager would; `<id>.dmg` when that cannot name one file in
    // Downloads; refused when the id cannot either.
    void fileNames_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("expected"); // empty: refused
        QTest::newRow("query and fragment dropped") << "https://dl.example/P.dmg?x=1#y" << "p" << "P.dmg";
        QTest::newRow("trailing slashes") << "https://dl.example/a/files//" << "p" << "files";
        QTest::newRow("path only a slash") << "https://dl.example/" << "p" << "p.dmg";
        QTest::newRow("no path") << "https://dl.example" << "p" << "p.dmg";
        QTest::newRow("escapes decoded") << "https://dl.example/My%20Plug%E2%84%A2.pkg" << "p" << "My Plug™.pkg";
        QTest::newRow("dot dot") << "https://dl.example/a/%2E%2E" << "p" << "p.dmg";
        QTest::newRow("escaped slash") << "https://dl.example/a/..%2F..%2Fetc%2Fpasswd" << "p" << "p.dmg";
        QTest::newRow("id with slash refused") << "https://dl.example/" << "../p" << "";
    }
    void fileNames()
    {
        QFETCH(QString, url);
        QFETCH(QString, id);
        QTEST(installers::fileName(QUrl(url), id).value_or(QString()), "expected");
    }

    // Saved byte for byte and revealed whatever the HTTP status, replacing
    // an older file (what a status means is the feed's and the catalogue's
    // business); one that breaks off, comes compressed although asked not
    // to, or passes the installer ceiling leaves the older file alone,
    // nothing else, and reveals nothing. (Other failures are the transfer's test.)
    void installerDownloads_data()
    {
        QTest::addColumn<Route>("route");
        for (const int status : {201, 400, 404, 407, 418, 451, 500, 503, 599})
            QTest::addRow("%d page", status) << Route{.status = status, .body = "page " + QByteArray::number(status)};
        QTest::newRow("broken off") << Route{.body = QByteArray(4096, 'x'), .truncateAfter = 100};
        QTest::newRow("gzip of nothing") << Route{.body = QByteArray("\x1f\x8b", 2), .headers = {{"Content-Encoding", "gzip"}}};
        QTest::newRow("over the ceiling") << Route{.chunkSize = 4096, .generatedSize = qint64(1) << 40};
    }
    void installerDownloads()
    {
        QFETCH(Route, route);
        const QString saved = TestSandbox::current().downloads() + "/Product.dmg";
        const QByteArray older = "an older installer, longer than the new one";
        QVERIFY(testfiles::write(saved, older));
        service.setRoute("/files/Product.dmg", route);
        const auto result = QCoro::waitFor(manager->download("p", service.url("/files/Product.dmg").toString(), true));
        const bool ok = route.status != 200;
        QCOMPARE(result.outcome.ok(), ok);
        QCOMPARE(result.savedPath, ok ? saved : QString());
        QCOMPARE(testfiles::read(saved), ok ? route.body : older);
        QCOMPARE(host.revealer.revealed, ok ? QStringList{saved} : QStringList());
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.dmg"});
        QVERIFY(manager->downloadingIds().isEmpty());
    }

    // Figures as the tooltip shows them: MB of 10^6 bytes, one decimal under
    // ten, the rate over the last five seconds of the host's clock.
    void progressText_data()
    {
        QTest::addColumn<QList<QPoint>>("samples"); // (milliseconds, kilobytes)
        QTest::addColumn<qint64>("total");
        QTest::addColumn<QString>("en");
        QTest::addColumn<QString>("ja");
        QTest::newRow("first bytes, total unknown") << QList<QPoint>{{0, 48000}} << qint64(-1) << "48 MB" << "48 MB";
        QTest::newRow("steady") << QList<QPoint>{{0, 0}, {1000, 12000}, {4000, 48000}} << qint64(310e6) << "48 of 310 MB, 12 MB/s" << "310 MB 中 48 MB、12 MB/秒";
        QTest::newRow("small figures") << QList<QPoint>{{0, 0}, {2000, 4840}} << qint64(9.96e6) << "4.8 of 10 MB, 2.4 MB/s" << "10 MB 中 4.8 MB、2.4 MB/秒";
        QTest::newRow("older samples drop out") << QList<QPoint>{{0, 0}, {1000, 1000}, {7000, 61000}} << qint64(-1) << "61 MB, 10 MB/s" << "61 MB、10 MB/秒";
        QTest::newRow("started over") << QList<QPoint>{{0, 50000}, {1000, 60000}, {2000, 1000}, {3000, 3000}} << qint64(-1) << "3.0 MB, 2.0 MB/s" << "3.0 MB、2.0 MB/秒";
    }
    void progressText()
    {
        QFETCH(QList<QPoint>, samples);
        QFETCH(qint64, total);
        DownloadProgress progress;
        const QDateTime start = host.clock.now();
        for (const QPoint &sample : samples)
            progress.update(qint64(sample.y()) * 1000, total, start.addMSecs(sample.x()));
        const StringKey text = L10n::downloadProgress(progress.received(), progress.total(), progress.rate());
        QTEST(text.en, "en");
        QTEST(text.ja, "ja");
    }

    void oneDownloadPerProduct()
    {
        service.setRoute("/slow.dmg", Route{.body = "slow", .delay = 100ms});
        service.setRoute("/other.dmg", Route{.body = "other"});
        manager->downloadAndReveal("p", service.url("/slow.dmg").toString());
        manager->downloadAndReveal("p", service.url("/slow.dmg").toString());
        manager->downloadAndReveal("q", service.url("/other.dmg").toString());
        QCOMPARE(manager->downloadingIds(), (QSet<QString>{"p", "q"}));
        QTRY_VERIFY(manager->downloadingIds().isEmpty());
        QCOMPARE(service.requestCount("/slow.dmg"), 1);
        QCOMPARE(testfiles::downloadsListing(), (QStringList{"other.dmg", "slow.dmg"}));
    }

    // Every outdated product in catalogue order, never more than two
    // transfers at once, a failed one not holding up the rest; the saved
    // files shown together in one window; a second batch refused meanwhile.
    void updateAll()
    {
        const QStringList ids{"e", "a", "d", "b", "c"};
        QJsonArray products, feed;
        for (const QString &id : ids) {
            products.append(fixtures::product(id, installBundles(id, {{"VST3", "1.0"}})));
            const QString path = "/files/" + id + ".dmg";
            service.setRoute(path, id == "d" ? Route{.body = QByteArray(64, 'x'), .truncateAfter = 10}
                                             : Route{.body = id.toUtf8(), .delay = 50ms});
            feed.append(version(id, id == "b" ? "1.0" : "2.0", service.url(path).toString()));
        }
        serveCatalog(products);
        serveFeed(feed);
        QVERIFY(check());
        QStringList started;
        qsizetype widest = 0;
        connect(manager.get(), &UpdateManager::downloadingIdsChanged, this, [&] {
            widest = std::max(widest, manager->downloadingIds().size());
            for (const QString &id : manager->downloadingIds())
                if (!started.contains(id))
                    started << id;
        });
        manager->updateAll();
        QVERIFY(manager->isUpdatingAll());
        QVERIFY(QCoro::waitFor(manager->downloadAll(false)).isEmpty());
        QTRY_VERIFY(!manager->isUpdatingAll());
        QCOMPARE(started, (QStringList{"e", "a", "d", "c"}));
        QCOMPARE(widest, 2);
        const QString downloads = TestSandbox::current().downloads() + "/";
        QCOMPARE(host.revealer.revealed, (QStringList{downloads + "e.dmg", downloads + "a.dmg", downloads + "c.dmg"}));
        QCOMPARE(host.revealer.windows, 1);
        QCOMPARE(testfiles::read(downloads + "c.dmg"), QByteArray("c"));
    }
};

HUB_TEST_MAIN(UpdateManagerTest)
#include "tst_updatemanager.moc"
