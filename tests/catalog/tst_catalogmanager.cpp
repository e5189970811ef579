#include "catalog/ProductCatalogManager.h"
#include "support/Fixtures.h"
#include "support/Files.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)

namespace {

const QByteArray CatalogA = fixtures::document({fixtures::product("a"), fixtures::product("b")});
const QByteArray CatalogB = fixtures::document({fixtures::product("c")});
const QString Path = QStringLiteral("/api/hub/products");

} // namespace

class CatalogManagerTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    const QString hubDir = TestSandbox::current().hubDirectory();
    const QString cacheFile = hubDir + "/product_catalog.json";

    std::unique_ptr<ProductCatalogManager> makeManager(std::chrono::milliseconds interval = 1h)
    {
        return std::make_unique<ProductCatalogManager>(hubDir, service.url(Path), host.host, interval);
    }
    Outcome fetch(ProductCatalogManager &manager) { return QCoro::waitFor(manager.fetchCatalog()); }

private slots:
    void initTestCase() { QVERIFY(service.listen()); }

    void init()
    {
        QDir(hubDir).removeRecursively();
        QDir().mkpath(hubDir);
        service.setRoute(Path, Route{.body = CatalogA});
    }

    // Read at once, never rewritten; an unusable or empty cache is ignored.
    void cacheAtStart_data()
    {
        QTest::addColumn<QByteArray>("cache");
        QTest::addColumn<int>("products");
        QTest::newRow("no cache file") << QByteArray() << 0;
        QTest::newRow("valid cache") << CatalogA << 2;
        QTest::newRow("bad cache") << QByteArray("[{\"plugin_id\":1}]") << 0;
        QTest::newRow("empty array") << QByteArray("[]") << 0;
    }
    void cacheAtStart()
    {
        QFETCH(QByteArray, cache);
        QFETCH(int, products);
        if (!cache.isEmpty())
            QVERIFY(testfiles::write(cacheFile, cache));
        const int before = service.totalRequests();
        const auto manager = makeManager();
        QCOMPARE(int(manager->products().size()), products);
        QCOMPARE(manager->revision(), products ? 1 : 0);
        QCOMPARE(manager->sections().isEmpty(), products == 0);
        QCOMPARE(service.totalRequests(), before);
        QCOMPARE(testfiles::read(cacheFile, "<missing>"), cache.isEmpty() ? QByteArray("<missing>") : cache);
    }

    // Status 200 to 299 only, all or nothing, never an empty catalogue, 10 s
    // at most. The cache is the body exactly as served, or untouched; the
    // same products in other bytes count as applied but change no products.
    void fetchOutcomes_data()
    {
        QTest::addColumn<Route>("route");
        QTest::addColumn<bool>("applied");
        QTest::addColumn<QByteArray>("cache");
        const QByteArray badEntry = fixtures::document({fixtures::product("x"), QJsonObject{{"display_name", "no id"}, {"category", "c"}}});
        QTest::newRow("200") << Route{.body = CatalogB} << true << CatalogB;
        QTest::newRow("299") << Route{.status = 299, .body = CatalogB} << true << CatalogB;
        QTest::newRow("redirected") << Route{.redirectTo = "/elsewhere"} << true << CatalogB;
        QTest::newRow("same products, other bytes") << Route{.body = CatalogA + "\n"} << true << CatalogA + "\n";
        QTest::newRow("304") << Route{.status = 304, .body = CatalogB} << false << CatalogA;
        QTest::newRow("500") << Route{.status = 500, .body = CatalogB} << false << CatalogA;
        QTest::newRow("empty array") << Route{.body = "[]"} << false << CatalogA;
        QTest::newRow("one bad entry") << Route{.body = badEntry} << false << CatalogA;
        QTest::newRow("not json") << Route{.body = "<html>"} << false << CatalogA;
        QTest::newRow("truncated body") << Route{.body = CatalogB, .truncateAfter = 5} << false << CatalogA;
        QTest::newRow("no answer") << Route{.hang = true} << false << CatalogA;
    }
    void fetchOutcomes()
    {
        QFETCH(Route, route);
        QFETCH(bool, applied);
        QFETCH(QByteArray, cache);
        QVERIFY(testfiles::write(cacheFile, CatalogA));
        service.setRoute("/elsewhere", Route{.body = CatalogB});
        service.setRoute(Path, route);
        const auto manager = makeManager();
        QSignalSpy products(manager.get(), &ProductCatalogManager::productsChanged);
        QSignalSpy sections(manager.get(), &ProductCatalogManager::sectionsChanged);
        QSignalSpy loading(manager.get(), &ProductCatalogManager::isLoadingChanged);

        QElapsedTimer timer;
        timer.start();
        QCOMPARE(fetch(*manager).ok(), applied);
        QVERIFY(!route.hang || timer.elapsed() >= 9000);
        QCOMPARE(manager->revision(), applied ? 2 : 1);
        const bool changed = cache == CatalogB;
        QCOMPARE(manager->products().first().id, changed ? "c" : "a");
        QCOMPARE(products.count(), changed ? 1 : 0);
        QCOMPARE(sections.count(), applied ? 1 : 0);
        QCOMPARE(loading.count(), 2);
        QVERIFY(!manager->isLoading());
        QCOMPARE(testfiles::read(cacheFile), cache);
        QVERIFY(service.lastRequestHeader(Path, "Authorization").isNull());
    }

    // A cache that cannot be written costs nothing but the cache.
    void missingHubDirectory()
    {
        QDir(hubDir).removeRecursively();
        const auto manager = makeManager();
        QVERIFY(fetch(*manager).ok());
        QCOMPARE(manager->products().size(), 2);
        QVERIFY(!QFile::exists(cacheFile));
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
        QCOMPARE(manager->products().first().id, "a");
        QCOMPARE(manager->revision(), 2);
        QCOMPARE(testfiles::read(cacheFile), CatalogA);
    }

    void scheduleFetchesAtOnceThenAfterEachEnds()
    {
        const auto manager = makeManager(40ms);
        const int before = service.requestCount(Path);
        manager->startBackgroundFetches();
        QVERIFY(manager->isLoading()); // the first fetch is under way at once
        QTRY_VERIFY(service.requestCount(Path) >= before + 3);
        QTRY_VERIFY(manager->revision() >= 3);
    }
};

HUB_TEST_MAIN(CatalogManagerTest)
#include "tst_catalogmanager.moc"
