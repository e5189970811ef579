#include "app/AppState.h"
#include "support/Fixtures.h"
#include "support/Files.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"

#include <QCoroTask>
#include <QtTest>

#include <sys/stat.h>

using namespace std::chrono_literals;
using enum HubInstallState;

static QString home() { return TestSandbox::current().home(); }
static QJsonObject at(const QString &path) { return QJsonObject{{"VST3", path}}; }

// Only Plugins/Installed.vst3 exists; a NUL does not cut a path short to it.
const QByteArray CatalogA = fixtures::document({
    fixtures::product("in", {{"AU", "Plugins/Missing.vst3"}, {"VST3", "Plugins/Installed.vst3"}}),
    fixtures::product("out", at("Plugins/Missing.vst3")),
    fixtures::product("tilde", at("~/Plugins/Installed.vst3")),
    fixtures::product("nul", at(QString("Plugins/Installed.vst3") + QChar(0) + "/x")),
    fixtures::product("bare"),
    fixtures::product("dup", at("Plugins/Missing.vst3")),
    fixtures::product("dup", at("Plugins/Installed.vst3")),
    fixtures::product("dup2", at("Plugins/Installed.vst3")),
    fixtures::product("dup2", at("Plugins/Missing.vst3")),
});
const QByteArray CatalogB = fixtures::document({fixtures::product("c")});
const QString Path = QStringLiteral("/api/hub/products");

// The catalogue the hub keeps, and the install states it derives.
class AppStateTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    const QString hubDir = host.paths.hubDirectory();
    const QString cacheFile = hubDir + "/product_catalog.json";

    std::unique_ptr<ProductCatalogManager> makeManager(std::chrono::milliseconds interval = 1h)
    {
        return std::make_unique<ProductCatalogManager>(hubDir, service.url(Path), host.host, interval);
    }
    std::unique_ptr<AppState> makeState(const Schedule &schedule = {})
    {
        return std::make_unique<AppState>(host.host, ServiceAddress(service.baseUrl()), schedule);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QDir().mkpath(home() + "/Plugins/Installed.vst3");
        host.limits.catalogue = {64 * 1024, 200ms, 400ms};
        host.limits.cacheFileSize = 64 * 1024;
        service.setRoute("/api/plugin-versions", Route{.body = "[]"});
    }

    void init()
    {
        QDir(hubDir).removeRecursively();
        QDir().mkpath(hubDir);
        service.setRoute(Path, Route{.body = CatalogA});
    }

    // An unusable cache is ignored at once: never waited on, never read past
    // its limit. (Which files are read at all is the install probe's test.)
    void unusableCache_data()
    {
        QTest::addColumn<QByteArray>("content"); // empty: a fifo
        QTest::newRow("not a catalogue") << QByteArray("[{\"plugin_id\":1}]");
        QTest::newRow("over the limit") << CatalogA + QByteArray(host.limits.cacheFileSize, ' ');
        QTest::newRow("fifo") << QByteArray();
    }
    void unusableCache()
    {
        QFETCH(QByteArray, content);
        QVERIFY(content.isEmpty() ? ::mkfifo(QFile::encodeName(cacheFile).constData(), 0600) == 0 : testfiles::write(cacheFile, content));
        QCOMPARE(makeManager()->revision(), 0);
    }

    // 2xx only, all or nothing, never empty, within the catalogue's size and
    // time limits; the cache is the body byte for byte, or untouched. The
    // same products in other bytes change no products.
    void fetchOutcomes_data()
    {
        QTest::addColumn<Route>("route");
        QTest::addColumn<bool>("applied");
        QTest::addColumn<QByteArray>("cache");
        const QByteArray badEntry = fixtures::document({fixtures::product("x"), QJsonObject{{"display_name", "no id"}, {"category", "c"}}});
        QTest::newRow("299") << Route{.status = 299, .body = CatalogB} << true << CatalogB;
        QTest::newRow("same products, other bytes") << Route{.body = CatalogA + "\n"} << true << CatalogA + "\n";
        QTest::newRow("500") << Route{.status = 500, .body = CatalogB} << false << CatalogA;
        QTest::newRow("empty array") << Route{.body = "[]"} << false << CatalogA;
        QTest::newRow("one bad entry") << Route{.body = badEntry} << false << CatalogA;
        QTest::newRow("no answer") << Route{.hang = true} << false << CatalogA;
        QTest::newRow("nested 30,000 deep") << Route{.body = QByteArray("[").repeated(30000) + QByteArray("]").repeated(30000)} << false << CatalogA;
        QTest::newRow("endless") << Route{.chunkSize = 4096, .generatedSize = qint64(1) << 40} << false << CatalogA;
    }
    void fetchOutcomes()
    {
        QFETCH(Route, route);
        QFETCH(bool, applied);
        QFETCH(QByteArray, cache);
        QVERIFY(testfiles::write(cacheFile, CatalogA));
        service.setRoute(Path, route);
        const auto manager = makeManager();
        QSignalSpy products(manager.get(), &ProductCatalogManager::productsChanged);
        QCOMPARE(QCoro::waitFor(manager->fetchCatalog()).ok(), applied);
        QCOMPARE(manager->revision(), applied ? 2 : 1);
        const bool changed = cache == CatalogB;
        QCOMPARE(manager->products().first().id, changed ? "c" : "in");
        QCOMPARE(products.count(), changed ? 1 : 0);
        QCOMPARE(testfiles::read(cacheFile), cache);
    }

    void overlappingFetchesApplyInArrivalOrder()
    {
        const auto manager = makeManager();
        service.setRoute(Path, Route{.body = CatalogA, .delay = 150ms});
        const int before = service.requestCount(Path);
        auto slow = manager->fetchCatalog();
        QTRY_COMPARE(service.requestCount(Path), before + 1);
        service.setRoute(Path, Route{.body = CatalogB});
        auto fast = manager->fetchCatalog();
        QVERIFY(QCoro::waitFor(std::move(fast)).ok());
        QCOMPARE(manager->products().first().id, "c");
        QVERIFY(QCoro::waitFor(std::move(slow)).ok());
        QCOMPARE(manager->products().first().id, "in");
        QCOMPARE(manager->revision(), 2);
        QCOMPARE(testfiles::read(cacheFile), CatalogA);
    }

    void scheduleFetchesAtOnceThenAfterEachEnds()
    {
        const auto manager = makeManager(40ms);
        manager->startBackgroundFetches();
        QVERIFY(manager->isLoading()); // the first fetch is under way at once
        QTRY_VERIFY(manager->revision() >= 3);
    }

    void setsUpOnce()
    {
        auto state = makeState();
        const int before = service.totalRequests();
        state->setup();
        QTRY_COMPARE(state->catalog()->revision(), 1);
        QTRY_VERIFY(!state->updateManager()->isChecking());
        state->setup(); // the window shown again starts nothing new
        QVERIFY(!state->catalog()->isLoading() && !state->updateManager()->isChecking());
        QCOMPARE(service.totalRequests(), before + 2); // one catalogue, one feed
    }

    // Loading for every product first, then the results: installed when
    // any path exists below home (no "~" expansion); of entries sharing an
    // id, the first decides.
    void refreshRunsTwoPasses()
    {
        auto state = makeState();
        QVERIFY(QCoro::waitFor(state->catalog()->fetchCatalog()).ok());
        QList<QHash<QString, HubInstallState>> seen;
        connect(state.get(), &AppState::productStatesChanged, this, [&] { seen << state->productStates(); });
        state->refreshAllStates();
        QCOMPARE(seen.size(), 18);
        QCOMPARE(seen[7].value("in"), Loading);
        QCOMPARE(state->productStates(), (QHash<QString, HubInstallState>{
            {"in", Installed}, {"out", NotInstalled}, {"tilde", NotInstalled}, {"nul", NotInstalled}, {"bare", NotInstalled}, {"dup", NotInstalled}, {"dup2", Installed}}));
    }

    void hourlyRefreshSeesNewInstalls()
    {
        auto state = makeState(Schedule{1h, 40ms, 1h});
        state->setup();
        QTRY_COMPARE(state->catalog()->revision(), 1);
        state->refreshAllStates();
        QCOMPARE(state->productStates().value("out"), NotInstalled);
        QDir().mkpath(home() + "/Plugins/Missing.vst3");
        QTRY_COMPARE(state->productStates().value("out"), Installed);
        QDir(home() + "/Plugins/Missing.vst3").removeRecursively();
    }
};

HUB_TEST_MAIN(AppStateTest)
#include "tst_appstate.moc"
