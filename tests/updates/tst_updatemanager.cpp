#include "catalog/ProductCatalogManager.h"
#include "support/Fixtures.h"
#include "support/Json.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"
#include "updates/UpdateManager.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)
using fixtures::version;

namespace {

using VersionMap = QMap<QString, QString>;

QString home() { return TestSandbox::current().home(); }

// A bundle per format, each at its version, under a folder of the product.
QJsonObject installBundles(const QString &id, const QMap<QString, QString> &formatVersions)
{
    QJsonObject formats;
    for (auto it = formatVersions.cbegin(); it != formatVersions.cend(); ++it) {
        const QString path = QString("Plugins/%1/%2.bundle").arg(id, it.key());
        QDir(home() + "/" + path).removeRecursively();
        if (!it.value().isNull())
            plistwriter::writeBundle(home() + "/" + path, {{"CFBundleShortVersionString", it.value()}},
                                     plistwriter::Format::Xml);
        formats.insert(it.key(), path);
    }
    return formats;
}

} // namespace

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
    }
    void serveFeed(const QJsonArray &records) { service.setRoute("/versions", Route{.body = fixtures::document(records)}); }
    bool check() { return QCoro::waitFor(manager->checkForUpdates()).ok(); }
    ProductUpdateState state(const QString &id) const { return manager->states().value(id); }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QCoreApplication::setApplicationVersion("1.2.5");
    }

    void init()
    {
        QDir(TestSandbox::current().hubDirectory()).removeRecursively();
        catalog = std::make_unique<ProductCatalogManager>(TestSandbox::current().hubDirectory(), service.url("/catalog"), host.host);
        manager = std::make_unique<UpdateManager>(service.url("/versions"), host.host);
        manager->bindCatalog(catalog.get());
        serveFeed({});
    }

    // Applying a record compares with every installed version; a rebuild
    // compares the remembered version with the lowest installed text.
    void applyVersusRebuild_data()
    {
        QTest::addColumn<VersionMap>("installed");
        QTest::addColumn<QString>("published");
        QTest::addColumn<UpdateStatus::Kind>("afterApply");
        QTest::addColumn<UpdateStatus::Kind>("afterRebuild");
        using M = QMap<QString, QString>;
        QTest::newRow("1.0 and 2.0 against 1.5") << M{{"AU", "1.0"}, {"VST3", "2.0"}} << "1.5"
                                                 << UpdateStatus::UpdateAvailable << UpdateStatus::UpdateAvailable;
        QTest::newRow("1.9 and 1.10 against 1.10") << M{{"AU", "1.9"}, {"VST3", "1.10"}} << "1.10"
                                                   << UpdateStatus::UpdateAvailable << UpdateStatus::UpToDate;
        QTest::newRow("same version") << M{{"AU", "2.0"}} << "2.0.0" << UpdateStatus::UpToDate << UpdateStatus::UpToDate;
        QTest::newRow("installed newer") << M{{"AU", "3.0"}} << "2.0" << UpdateStatus::UpToDate << UpdateStatus::UpToDate;
        QTest::newRow("not installed") << M{} << "2.0" << UpdateStatus::NotInstalled << UpdateStatus::NotInstalled;
        QTest::newRow("bundle without version") << M{{"AU", QString()}} << "2.0"
                                                << UpdateStatus::NotInstalled << UpdateStatus::NotInstalled;
    }
    void applyVersusRebuild()
    {
        QFETCH(VersionMap, installed);
        QFETCH(QString, published);
        QFETCH(UpdateStatus::Kind, afterApply);
        QFETCH(UpdateStatus::Kind, afterRebuild);
        QJsonObject formats = installBundles("p", installed);
        if (formats.contains("AU") && installed.value("AU").isNull())
            QDir().mkpath(home() + "/Plugins/p/AU.bundle"); // present, but no Info.plist
        serveCatalog({fixtures::product("p", formats)});
        manager->rebuildStates();

        serveFeed({version("p", published)});
        QVERIFY(check());
        QCOMPARE(state("p").status.kind, afterApply);
        QCOMPARE(state("p").latestVersion, published);
        QCOMPARE(state("p").downloadURL, QString("https://dl.example/p-%1.dmg").arg(published));
        if (afterApply == UpdateStatus::UpdateAvailable)
            QCOMPARE(state("p").status, UpdateStatus::updateAvailable(published, *state("p").downloadURL));

        manager->rebuildStates();
        QCOMPARE(state("p").status.kind, afterRebuild);
        QCOMPARE(state("p").latestVersion, published);
    }

    void recordsApplyInOrderAndOnlyToKnownProducts()
    {
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}})), fixtures::product("q")});
        manager->rebuildStates();
        QSignalSpy states(manager.get(), &UpdateManager::statesChanged);
        serveFeed({version("p", "2.0"), version("unknown", "9.9"), version("p", "0.5"), version("q", "1.0")});
        QVERIFY(check());
        // The later record for p wins; unknown ids change nothing.
        QCOMPARE(state("p").latestVersion, QString("0.5"));
        QCOMPARE(state("p").status, UpdateStatus::upToDate());
        QCOMPARE(state("q").status, UpdateStatus::notInstalled());
        QCOMPARE(state("q").latestVersion, QString("1.0"));
        QVERIFY(!manager->states().contains("unknown"));
        QCOMPARE(states.count(), 3);

        // A later feed without p keeps what the earlier one said.
        serveFeed({version("q", "1.1")});
        QVERIFY(check());
        QCOMPARE(state("p").latestVersion, QString("0.5"));
    }

    void rebuildFollowsTheCatalogue()
    {
        serveCatalog({fixtures::product("p"), fixtures::product("gone")});
        manager->rebuildStates();
        QVERIFY(manager->states().contains("gone"));
        QCOMPARE(state("p").status, UpdateStatus::notInstalled());
        QVERIFY(!state("p").latestVersion);

        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}}))});
        QSignalSpy states(manager.get(), &UpdateManager::statesChanged);
        manager->rebuildStates();
        manager->rebuildStates();
        QCOMPARE(states.count(), 2); // every rebuild notifies
        QVERIFY(!manager->states().contains("gone"));
        QCOMPARE(state("p").status, UpdateStatus::upToDate());
        QCOMPARE(state("p").installedVersions, (QMap<QString, QString>{{"AU", "1.0"}}));

        catalog.reset();
        manager->rebuildStates(); // no catalogue: states stay
        QVERIFY(manager->states().contains("p"));
    }

    void hubRecord_data()
    {
        QTest::addColumn<QString>("published");
        QTest::addColumn<UpdateStatus::Kind>("status");
        QTest::newRow("equal") << "1.2.5.0" << UpdateStatus::UpToDate;
        QTest::newRow("newer") << "1.3" << UpdateStatus::UpdateAvailable;
        QTest::newRow("older") << "1.2" << UpdateStatus::UpToDate;
    }
    void hubRecord()
    {
        QFETCH(QString, published);
        QFETCH(UpdateStatus::Kind, status);
        QCOMPARE(manager->hubSelfUpdate(), (HubSelfUpdateState{"1.2.5", std::nullopt, UpdateStatus::upToDate()}));
        QSignalSpy hub(manager.get(), &UpdateManager::hubSelfUpdateChanged);
        QSignalSpy states(manager.get(), &UpdateManager::statesChanged);
        serveFeed({version("hub", published)});
        QVERIFY(check());
        QCOMPARE(manager->hubSelfUpdate().installedVersion, "1.2.5");
        QCOMPARE(manager->hubSelfUpdate().latestVersion, published);
        QCOMPARE(manager->hubSelfUpdate().status.kind, status);
        QCOMPARE(hub.count(), 1);
        QCOMPARE(states.count(), 0);
        QVERIFY(check()); // the same record again notifies nobody
        QCOMPARE(hub.count(), 1);

        // A later record that is not newer turns an offer back.
        serveFeed({version("hub", "1.3"), version("hub", "1.0")});
        QVERIFY(check());
        QCOMPARE(manager->hubSelfUpdate().status, UpdateStatus::upToDate());
        QCOMPARE(manager->hubSelfUpdate().latestVersion, QString("1.0"));
        // A feed without the hub leaves it alone.
        serveFeed({});
        QVERIFY(check());
        QCOMPARE(manager->hubSelfUpdate().latestVersion, QString("1.0"));
    }

    void lastCheckedOnlyOnSuccess_data()
    {
        QTest::addColumn<QByteArray>("feed");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("ok");
        QTest::newRow("empty feed") << QByteArray("[]") << 200 << true;
        QTest::newRow("204 empty body") << QByteArray() << 204 << false;
        QTest::newRow("404 with array") << QByteArray("[]") << 404 << false;
        QTest::newRow("missing download_url") << json("[{'plugin_id':'p','version':'1'}]") << 200 << false;
    }
    void lastCheckedOnlyOnSuccess()
    {
        QFETCH(QByteArray, feed);
        QFETCH(int, status);
        QFETCH(bool, ok);
        QVERIFY(!manager->lastChecked());
        service.setRoute("/versions", Route{.status = status, .body = feed});
        QSignalSpy checking(manager.get(), &UpdateManager::isCheckingChanged);
        QCOMPARE(check(), ok);
        QCOMPARE(manager->lastChecked().has_value(), ok);
        if (ok)
            QCOMPARE(*manager->lastChecked(), host.clock.time);
        QCOMPARE(checking.count(), 2);
        QVERIFY(!manager->isChecking());
    }

    void secondCheckWhileOneRunsReturnsAtOnce()
    {
        service.setRoute("/versions", Route{.body = "[]", .delay = 100ms});
        const int before = service.requestCount("/versions");
        auto first = manager->checkForUpdates();
        QVERIFY(manager->isChecking());
        QVERIFY(!QCoro::waitFor(manager->checkForUpdates()).ok());
        QVERIFY(QCoro::waitFor(std::move(first)).ok());
        QCOMPARE(service.requestCount("/versions"), before + 1);
        QVERIFY(!manager->isChecking());
    }

    void backgroundChecksRebuildFirstThenCheckOnSchedule()
    {
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}}))});
        serveFeed({version("p", "2.0")});
        const int before = service.requestCount("/versions");
        UpdateManager scheduled(service.url("/versions"), host.host, 50ms);
        scheduled.startBackgroundChecks(catalog.get());
        // Installed versions are known before any network traffic.
        QCOMPARE(scheduled.states().value("p").status, UpdateStatus::upToDate());
        QVERIFY(scheduled.isChecking());
        QTRY_COMPARE(scheduled.states().value("p").status.kind, UpdateStatus::UpdateAvailable);
        QTRY_VERIFY(service.requestCount("/versions") >= before + 3);
    }
};

HUB_TEST_MAIN(UpdateManagerTest)
#include "tst_updatemanager.moc"
