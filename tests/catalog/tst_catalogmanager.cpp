#include "catalog/ProductCatalogManager.h"
#include "support/Fixtures.h"
#include "support/Files.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QtTest>

#include <sys/stat.h>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)

const QByteArray CatalogA = fixtures::document({fixtures::product("a"), fixtures::product("b")});
const QByteArray CatalogB = fixtures::document({fixtures::product("c")});
const QString Path = QStringLiteral("/api/hub/products");

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

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        host.limits.catalogue = {64 * 1024, 200ms, 400ms};
        host.limits.cacheFileSize = 64 * 1024;
    }

    void init() { QDir(hubDir).removeRecursively(); QDir().mkpath(hubDir); service.setRoute(Path, Route{.body = CatalogA}); }

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
        QTest::newRow("nested 30,000 deep") << Route{.body = QByteArray("[").repeated(30000) + QByteArray("]").repeated(30000)}
                                            << false << CatalogA;
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
        QCOMPARE(manager->products().first().id, changed ? "c" : "a");
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
        QCOMPARE(manager->products().first().id, "a");
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
};

HUB_TEST_MAIN(CatalogManagerTest)
#include "tst_catalogmanager.moc"
