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
using fixtures::version;
using VersionMap = QMap<QString, QString>;

namespace {

QString home() { return TestSandbox::current().home(); }

// A bundle per format at its version (a null version: a bundle without
// Info.plist), under a folder of the product.
QJsonObject installBundles(const QString &id, const VersionMap &formatVersions)
{
    QJsonObject formats;
    for (auto it = formatVersions.cbegin(); it != formatVersions.cend(); ++it) {
        const QString path = QString("Plugins/%1/%2.bundle").arg(id, it.key());
        QDir(home() + "/" + path).removeRecursively();
        QDir().mkpath(home() + "/" + path);
        if (!it.value().isNull())
            plistwriter::writeBundle(home() + "/" + path, {{"CFBundleShortVersionString", it.value()}}, plistwriter::Format::Xml);
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
        QTest::newRow("1.0 and 2.0 against 1.5") << VersionMap{{"AU", "1.0"}, {"VST3", "2.0"}} << "1.5"
                                                 << UpdateStatus::UpdateAvailable << UpdateStatus::UpdateAvailable;
        QTest::newRow("1.9 and 1.10 against 1.10") << VersionMap{{"AU", "1.9"}, {"VST3", "1.10"}} << "1.10"
                                                   << UpdateStatus::UpdateAvailable << UpdateStatus::UpToDate;
        QTest::newRow("same version") << VersionMap{{"AU", "2.0"}} << "2.0.0" << UpdateStatus::UpToDate << UpdateStatus::UpToDate;
        QTest::newRow("not installed") << VersionMap{} << "2.0" << UpdateStatus::NotInstalled << UpdateStatus::NotInstalled;
        QTest::newRow("bundle without version") << VersionMap{{"AU", QString()}} << "2.0"
                                                << UpdateStatus::NotInstalled << UpdateStatus::NotInstalled;
    }
    void applyVersusRebuild()
    {
        QFETCH(VersionMap, installed);
        QFETCH(QString, published);
        QFETCH(UpdateStatus::Kind, afterApply);
        serveCatalog({fixtures::product("p", installBundles("p", installed))});
        manager->rebuildStates();
        serveFeed({version("p", published)});
        QVERIFY(check());
        QCOMPARE(state("p").status.kind, afterApply);
        if (afterApply == UpdateStatus::UpdateAvailable)
            QCOMPARE(state("p").status, UpdateStatus::updateAvailable(published, *state("p").downloadURL));

        manager->rebuildStates();
        QTEST(state("p").status.kind, "afterRebuild");
        QCOMPARE(state("p").latestVersion, published);
    }

    // Records apply in order and only to known products, each notifying; a
    // rebuild follows the catalogue, keeps what the feed said and notifies.
    void recordsAndRebuilds()
    {
        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}})), fixtures::product("gone")});
        manager->rebuildStates();
        QSignalSpy states(manager.get(), &UpdateManager::statesChanged);
        serveFeed({version("p", "2.0"), version("unknown", "9.9"), version("p", "0.5"), version("gone", "1.0")});
        QVERIFY(check());
        QCOMPARE(states.count(), 3);
        QCOMPARE(state("p").status, UpdateStatus::upToDate()); // the later record wins
        QVERIFY(!manager->states().contains("unknown"));
        serveFeed({version("gone", "1.1")});
        QVERIFY(check());
        QCOMPARE(state("p").latestVersion, QString("0.5")); // a feed without p changes nothing for p

        serveCatalog({fixtures::product("p", installBundles("p", {{"AU", "1.0"}}))});
        manager->rebuildStates();
        QVERIFY(!manager->states().contains("gone"));
        QCOMPARE(state("p").latestVersion, QString("0.5"));
        catalog.reset();
        manager->rebuildStates(); // no catalogue: states stay, nobody notified
        QVERIFY(manager->states().contains("p"));
        QCOMPARE(states.count(), 5);
    }

    // The hub's own record, feed after feed: it notifies only when it
    // changes, and never notifies the products.
    void hubRecord_data()
    {
        QTest::addColumn<QList<QStringList>>("feeds"); // the hub's records in each feed
        QTest::addColumn<QString>("latest");
        QTest::addColumn<UpdateStatus::Kind>("status");
        QTest::addColumn<int>("notifications");
        using Feeds = QList<QStringList>;
        QTest::newRow("equal") << Feeds{{"1.2.5.0"}} << "1.2.5.0" << UpdateStatus::UpToDate << 1;
        QTest::newRow("newer") << Feeds{{"1.3"}} << "1.3" << UpdateStatus::UpdateAvailable << 1;
        QTest::newRow("older") << Feeds{{"1.2"}} << "1.2" << UpdateStatus::UpToDate << 1;
        QTest::newRow("same record again") << Feeds{{"1.3"}, {"1.3"}} << "1.3" << UpdateStatus::UpdateAvailable << 1;
        QTest::newRow("later record not newer") << Feeds{{"1.3", "1.0"}} << "1.0" << UpdateStatus::UpToDate << 2;
        QTest::newRow("feed without the hub") << Feeds{{"1.3"}, {}} << "1.3" << UpdateStatus::UpdateAvailable << 1;
    }
    void hubRecord()
    {
        QFETCH(QList<QStringList>, feeds);
        QSignalSpy hubChanged(manager.get(), &UpdateManager::hubSelfUpdateChanged);
        QSignalSpy states(manager.get(), &UpdateManager::statesChanged);
        for (const QStringList &records : feeds) {
            QJsonArray feed;
            for (const QString &published : records)
                feed << version("hub", published);
            serveFeed(feed);
            QVERIFY(check());
        }
        QTEST(manager->hubSelfUpdate().latestVersion.value_or(QString()), "latest");
        QTEST(manager->hubSelfUpdate().status.kind, "status");
        QTEST(int(hubChanged.count()), "notifications");
        QCOMPARE(states.count(), 0);
    }

    // A check while one runs returns at once, without a request; only a
    // usable feed counts as a check.
    void checks()
    {
        QSignalSpy checking(manager.get(), &UpdateManager::isCheckingChanged);
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
        QCOMPARE(checking.count(), 4);
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
