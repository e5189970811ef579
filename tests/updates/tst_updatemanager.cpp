#include "catalog/ProductCatalogManager.h"
#include "support/Fixtures.h"
#include "support/Json.h"
#include "support/LinuxBundles.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"
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
        service.setRoute("/catalog", LocalHttpService::Route{.body = fixtures::document(products)});
        QVERIFY(QCoro::waitFor(catalog->fetchCatalog()).ok());
    }
    void serveFeed(const QJsonArray &records) { service.setRoute("/versions", LocalHttpService::Route{.body = fixtures::document(records)}); }
    bool check() { return QCoro::waitFor(manager->checkForUpdates()).ok(); }
    ProductUpdateState state(const QString &id) const { return manager->states().value(id); }

private slots:
    void initTestCase() { QVERIFY(service.listen()); QCoreApplication::setApplicationVersion("1.2.5"); }

    void init()
    {
        catalog = std::make_unique<ProductCatalogManager>(TestSandbox::current().hubDirectory(), service.url("/catalog"), host.host);
        manager = std::make_unique<UpdateManager>(service.url("/versions"), host.host);
        manager->bindCatalog(catalog.get());
        serveFeed({});
    }

    // Applying: any installed version older counts; a rebuild uses the lowest installed version text.
    void applyVersusRebuild()
    {
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.9"}, {"VST3", "1.10"}})), fixtures::product("q")});
        manager->rebuildStates();
        serveFeed({version("p", "1.10"), version("q", "2.0")});
        QVERIFY(check());
        QCOMPARE(state("p").status, UpdateStatus::updateAvailable("1.10", *state("p").downloadURL));
        QCOMPARE(state("q").status.kind, UpdateStatus::NotInstalled);
        manager->rebuildStates();
        QCOMPARE(state("p").status, UpdateStatus::upToDate());
        QCOMPARE(state("p").latestVersion, QString("1.10"));
        QCOMPARE(state("q").status.kind, UpdateStatus::NotInstalled);
    }

    // Product records apply in order, only to known products, each notifying;
    // the hub's record notifies only when it changes.
    void notifications()
    {
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}}))});
        manager->rebuildStates();
        QSignalSpy states(manager.get(), &UpdateManager::statesChanged);
        QSignalSpy hubChanged(manager.get(), &UpdateManager::hubSelfUpdateChanged);
        serveFeed({version("p", "2.0"), version("unknown", "9.9"), version("p", "0.5"), version("hub", "1.3")});
        QVERIFY(check());
        QCOMPARE(states.count(), 2);
        QCOMPARE(state("p").status, UpdateStatus::upToDate()); // the later record wins
        QVERIFY(!manager->states().contains("unknown"));
        QCOMPARE(manager->hubSelfUpdate().status.kind, UpdateStatus::UpdateAvailable);
        serveFeed({version("hub", "1.3")}); // the same record again: no notification
        QVERIFY(check());
        serveFeed({version("hub", "1.0")}); // a later record that is not newer
        QVERIFY(check());
        QCOMPARE(manager->hubSelfUpdate().status.kind, UpdateStatus::UpToDate);
        QCOMPARE(hubChanged.count(), 2);
        QCOMPARE(states.count(), 2);
    }

    // A check while one runs returns at once; only a usable feed counts as a check.
    void checks()
    {
        service.setRoute("/versions", LocalHttpService::Route{.body = json("[{'plugin_id':'p','version':'1'}]"), .delay = 100ms}); // no download_url
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
        manager->rebuildStates();
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
        serveCatalog({fixtures::product("p", QJsonObject{{"CLAP", ".clap/Marsh.clap"}})});
        const int before = host.pluginScanner.processesStarted();
        manager->rebuildStates();
        QCoro::waitFor(manager->finishPluginScans());
        QCOMPARE(state("p").installedVersions.value("CLAP"), "2.0.0");
        serveFeed({version("p", "3.0")});
        QVERIFY(check());
        QCOMPARE(state("p").status.kind, UpdateStatus::UpdateAvailable);
        manager->rebuildStates();
        QCoro::waitFor(manager->finishPluginScans());
        QCOMPARE(host.pluginScanner.processesStarted(), before + 1);
        QVERIFY(linuxbundles::installClap(clap, "marsh-test"));
        manager->rebuildStates();
        QCoro::waitFor(manager->finishPluginScans());
        QCOMPARE(host.pluginScanner.processesStarted(), before + 2);
        QCOMPARE(state("p").installedVersions.value("CLAP"), "3.2.1");
        QCOMPARE(state("p").status, UpdateStatus::upToDate());
    }
};

HUB_TEST_MAIN(UpdateManagerTest)
#include "tst_updatemanager.moc"
