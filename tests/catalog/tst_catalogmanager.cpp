#include "catalog/ProductCatalogManager.h"
#include "support/Fixtures.h"
#include "support/Json.h"
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

} // namespace

class CatalogManagerTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    QString hubDir;

    std::unique_ptr<ProductCatalogManager> makeManager(std::chrono::milliseconds interval = 1h)
    {
        return std::make_unique<ProductCatalogManager>(hubDir, service.url("/api/hub/products"), host.host, interval);
    }

private slots:
    void initTestCase() { QVERIFY(service.listen()); }

    void init()
    {
        hubDir = TestSandbox::current().hubDirectory();
        QDir(hubDir).removeRecursively();
        QDir().mkpath(hubDir);
        service.setRoute("/api/hub/products", Route{.body = CatalogA});
    }

    void cacheAtStart_data()
    {
        QTest::addColumn<QByteArray>("cache");
        QTest::addColumn<int>("products");
        QTest::addColumn<qint64>("revision");
        QTest::newRow("no cache file") << QByteArray() << 0 << qint64(0);
        QTest::newRow("valid cache") << CatalogA << 2 << qint64(1);
        QTest::newRow("bad cache") << QByteArray("[{\"plugin_id\":1}]") << 0 << qint64(0);
        QTest::newRow("empty array") << QByteArray("[]") << 0 << qint64(0);
        QTest::newRow("garbage") << QByteArray("\xff\xfe{") << 0 << qint64(0);
    }
    void cacheAtStart()
    {
        QFETCH(QByteArray, cache);
        const QString path = hubDir + "/product_catalog.json";
        if (!cache.isEmpty())
            QVERIFY(testfiles::write(path, cache));
        const auto manager = makeManager();
        QTEST(int(manager->products().size()), "products");
        QTEST(manager->revision(), "revision");
        QCOMPARE(manager->sections(), Product::sections(manager->products()));
        QCOMPARE(service.totalRequests(), 0);
        // Reading never rewrites the cache.
        QCOMPARE(testfiles::read(path, "<missing>"), cache.isEmpty() ? QByteArray("<missing>") : cache);
    }

    void firstStartWithoutHubDirectory()
    {
        QDir(hubDir).removeRecursively();
        const auto manager = makeManager();
        QCOMPARE(manager->revision(), 0);
        QDir().mkpath(hubDir); // as the application state's setup does
        QVERIFY(QCoro::waitFor(manager->fetchCatalog()).ok());
        QCOMPARE(manager->revision(), 1);
        QCOMPARE(testfiles::read(manager->cacheFilePath()), CatalogA);
    }

    void fetchOutcomes_data()
    {
        QTest::addColumn<Route>("route");
        QTest::addColumn<bool>("applied");
        const QByteArray badEntry = fixtures::document({fixtures::product("x"), QJsonObject{{"display_name", "no id"}, {"category", "c"}}});
        QTest::newRow("200") << Route{.body = CatalogB} << true;
        QTest::newRow("299") << Route{.status = 299, .body = CatalogB} << true;
        QTest::newRow("chunked slowly") << Route{.body = CatalogB, .chunkSize = 3, .chunkInterval = 1ms} << true;
        QTest::newRow("redirected") << Route{.redirectTo = "/elsewhere"} << true;
        QTest::newRow("304") << Route{.status = 304, .body = CatalogB} << false;
        QTest::newRow("404") << Route{.status = 404, .body = CatalogB} << false;
        QTest::newRow("500") << Route{.status = 500, .body = CatalogB} << false;
        QTest::newRow("empty array") << Route{.body = "[]"} << false;
        QTest::newRow("one bad entry") << Route{.body = badEntry} << false;
        QTest::newRow("not json") << Route{.body = "<html>"} << false;
        QTest::newRow("truncated body") << Route{.body = CatalogB, .truncateAfter = 5} << false;
    }
    void fetchOutcomes()
    {
        QFETCH(Route, route);
        QFETCH(bool, applied);
        QVERIFY(testfiles::write(hubDir + "/product_catalog.json", CatalogA));
        service.setRoute("/elsewhere", Route{.body = CatalogB});
        service.setRoute("/api/hub/products", route);
        const auto manager = makeManager();
        QCOMPARE(manager->revision(), 1);

        QSignalSpy products(manager.get(), &ProductCatalogManager::productsChanged);
        QSignalSpy loading(manager.get(), &ProductCatalogManager::isLoadingChanged);
        const Outcome outcome = QCoro::waitFor(manager->fetchCatalog());

        QCOMPARE(outcome.ok(), applied);
        QCOMPARE(manager->revision(), applied ? 2 : 1);
        QCOMPARE(products.count(), applied ? 1 : 0);
        QCOMPARE(manager->products().first().id, applied ? "c" : "a");
        QVERIFY(!manager->isLoading());
        QCOMPARE(loading.count(), 2);
        // The cache is the body exactly as served, or untouched.
        QCOMPARE(testfiles::read(manager->cacheFilePath()), applied ? CatalogB : CatalogA);
    }

    void requestIsUncachedPlainGet()
    {
        const auto manager = makeManager();
        const int before = service.requestCount("/api/hub/products");
        QCoro::waitFor(manager->fetchCatalog());
        QCOMPARE(service.requestCount("/api/hub/products"), before + 1);
        QVERIFY(service.lastRequestHeader("/api/hub/products", "Authorization").isNull());
    }

    void sameCatalogStillCountsAsApplied()
    {
        QVERIFY(testfiles::write(hubDir + "/product_catalog.json", CatalogA));
        const auto manager = makeManager();
        QSignalSpy products(manager.get(), &ProductCatalogManager::productsChanged);
        QSignalSpy sections(manager.get(), &ProductCatalogManager::sectionsChanged);
        QSignalSpy revision(manager.get(), &ProductCatalogManager::revisionChanged);
        // Same products, different bytes: the cache follows the server.
        const QByteArray reformatted = CatalogA + "\n";
        service.setRoute("/api/hub/products", Route{.body = reformatted});
        QVERIFY(QCoro::waitFor(manager->fetchCatalog()).ok());
        QCOMPARE(products.count(), 0);
        QCOMPARE(sections.count(), 1);
        QCOMPARE(revision.count(), 1);
        QCOMPARE(manager->revision(), 2);
        QCOMPARE(testfiles::read(manager->cacheFilePath()), reformatted);
    }

    void cacheWriteFailureKeepsCatalogue()
    {
        QDir(hubDir).removeRecursively(); // nowhere to write
        const auto manager = makeManager();
        QVERIFY(QCoro::waitFor(manager->fetchCatalog()).ok());
        QCOMPARE(manager->products().size(), 2);
        QVERIFY(!QFile::exists(manager->cacheFilePath()));
    }

    void overlappingFetchesApplyInArrivalOrder()
    {
        const auto manager = makeManager();
        service.setRoute("/api/hub/products", Route{.body = CatalogA, .delay = 150ms});
        const int before = service.requestCount("/api/hub/products");
        auto slow = manager->fetchCatalog();
        QTRY_COMPARE(service.requestCount("/api/hub/products"), before + 1);
        service.setRoute("/api/hub/products", Route{.body = CatalogB});
        auto fast = manager->fetchCatalog();
        QVERIFY(manager->isLoading());
        QVERIFY(QCoro::waitFor(std::move(fast)).ok());
        QCOMPARE(manager->products().first().id, "c");
        // The first fetch to end clears the flag, as each fetch does.
        QVERIFY(!manager->isLoading());
        QVERIFY(QCoro::waitFor(std::move(slow)).ok());
        QCOMPARE(manager->products().first().id, "a");
        QCOMPARE(manager->revision(), 2);
        QCOMPARE(testfiles::read(manager->cacheFilePath()), CatalogA);
    }

    void scheduleFetchesAtOnceThenAfterEachEnds()
    {
        auto manager = makeManager(40ms);
        const int before = service.requestCount("/api/hub/products");
        manager->startBackgroundFetches();
        QCOMPARE(service.requestCount("/api/hub/products"), before); // returns at once
        QTRY_COMPARE(service.requestCount("/api/hub/products"), before + 1);
        QTRY_VERIFY(service.requestCount("/api/hub/products") >= before + 3);
        QTRY_VERIFY(manager->revision() >= 3);
        manager.reset();
        const int count = service.requestCount("/api/hub/products");
        QTest::qWait(150);
        QVERIFY(service.requestCount("/api/hub/products") <= count + 1);
    }

    void timeoutLeavesEverythingAsItWas()
    {
        QVERIFY(testfiles::write(hubDir + "/product_catalog.json", CatalogA));
        service.setRoute("/api/hub/products", Route{.hang = true});
        const auto manager = makeManager();
        QElapsedTimer timer;
        timer.start();
        const Outcome outcome = QCoro::waitFor(manager->fetchCatalog());
        QVERIFY(!outcome.ok());
        QVERIFY(timer.elapsed() >= 9000);
        QCOMPARE(manager->revision(), 1);
        QVERIFY(!manager->isLoading());
        QCOMPARE(testfiles::read(manager->cacheFilePath()), CatalogA);
    }
};

HUB_TEST_MAIN(CatalogManagerTest)
#include "tst_catalogmanager.moc"
