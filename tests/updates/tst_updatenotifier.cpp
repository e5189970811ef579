#include "catalog/ProductCatalogManager.h"
#include "l10n/L10n.h"
#include "platform/Settings.h"
#include "support/Fixtures.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"
#include "updates/UpdateManager.h"
#include "updates/UpdateNotifier.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;

// Which product versions are announced, when, and in which words, against
// a real update manager reading installed bundles and a local feed.
class UpdateNotifierTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    L10n l10n;
    std::unique_ptr<ProductCatalogManager> catalog;
    std::unique_ptr<UpdateManager> manager;
    std::unique_ptr<UpdateNotifier> notifier;

    // Products "a", "b", … installed at 1.0 (display names "A", "B", …), a
    // product installed at the published version, and one not installed.
    void serveCatalog(int installed)
    {
        QJsonArray products;
        for (int i = 0; i < installed; ++i)
            products << installedAt(QString(QChar('a' + i)), "1.0");
        products << installedAt("current", "2.0") << fixtures::product("absent");
        service.setRoute("/catalog", Route{.body = fixtures::document(products)});
        QVERIFY(QCoro::waitFor(catalog->fetchCatalog()).ok());
        manager->rebuildStates();
    }
    static QJsonObject installedAt(const QString &id, const QString &version)
    {
        const QString path = QString("Plugins/%1.vst3").arg(id);
        plistwriter::writeBundle(TestSandbox::current().home() + "/" + path, {{"CFBundleShortVersionString", version}},
                                 plistwriter::Format::Xml);
        return fixtures::product(id, {{"VST3", path}});
    }
    // Publishes `version` for every product.
    void publish(const QString &version)
    {
        QJsonArray records;
        for (const Product &product : catalog->products())
            records << fixtures::version(product.id, product.id == "current" ? "2.0" : version);
        service.setRoute("/versions", Route{.body = fixtures::document(records)});
    }
    // A check as the hub runs one by itself, then what it announces.
    bool automaticCheck()
    {
        return QCoro::waitFor(manager->checkForUpdates()).ok() && QCoro::waitFor(notifier->announce());
    }
    qsizetype shown() const { return host.notifier.shown.size(); }

private slots:
    void initTestCase() { QVERIFY(service.listen()); }

    void init()
    {
        platform::hubSettings().clear();
        host.notifier.shown.clear();
        host.notifier.available = true;
        host.clock.time = QDateTime(QDate(2026, 11, 23), QTime(14, 5));
        l10n.setLanguage(AppLanguage::En);
        catalog = std::make_unique<ProductCatalogManager>(host.paths.hubDirectory(), service.url("/catalog"), host.host);
        manager = std::make_unique<UpdateManager>(service.url("/versions"), host.host);
        manager->bindCatalog(catalog.get());
        notifier = std::make_unique<UpdateNotifier>(*manager, host.host, l10n);
    }

    // One notification for every product with a new version, counted in the
    // title and named in the body up to three, in catalogue order.
    void words_data()
    {
        QTest::addColumn<int>("updates");
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("body");
        QTest::newRow("one") << 1 << AppLanguage::En << "1 update available" << "A";
        QTest::newRow("five, two counted") << 5 << AppLanguage::En << "5 updates available" << "A, B, C and 2 more";
        QTest::newRow("japanese") << 5 << AppLanguage::Ja << "5件のアップデートがあります" << "A、B、C ほか 2 件";
    }
    void words()
    {
        QFETCH(int, updates);
        QFETCH(AppLanguage, language);
        QFETCH(QString, title);
        QFETCH(QString, body);
        l10n.setLanguage(language);
        serveCatalog(updates);
        publish("2.0");
        QVERIFY(automaticCheck());
        QCOMPARE(shown(), 1);
        QCOMPARE(host.notifier.shown[0].title, title);
        QCOMPARE(host.notifier.shown[0].body, body);
        QCOMPARE(host.notifier.shown[0].actionLabel, language == AppLanguage::Ja ? "アップデートを表示" : "Show Updates");
    }

    // A version is announced once, across restarts; a newer one again.
    void onlyNewVersions()
    {
        serveCatalog(2);
        publish("2.0");
        QVERIFY(automaticCheck());
        host.clock.time = host.clock.time.addDays(2);
        notifier = std::make_unique<UpdateNotifier>(*manager, host.host, l10n);
        QVERIFY(!automaticCheck());
        publish("3.0");
        QVERIFY(automaticCheck());
        QCOMPARE(shown(), 2);
        QCOMPARE(host.notifier.shown[1].title, "2 updates available");
    }

    // At most one notification a day; versions held back meanwhile come
    // with the next one.
    void onceADay_data()
    {
        QTest::addColumn<int>("hoursLater");
        QTest::addColumn<bool>("sent");
        QTest::newRow("the same day") << 23 << false;
        QTest::newRow("a day later") << 24 << true;
        QTest::newRow("clock set back") << -1 << true;
    }
    void onceADay()
    {
        QFETCH(int, hoursLater);
        QFETCH(bool, sent);
        serveCatalog(1);
        publish("2.0");
        QVERIFY(automaticCheck());
        publish("3.0");
        host.clock.time = host.clock.time.addSecs(hoursLater * 3600);
        QCOMPARE(automaticCheck(), sent);
        QCOMPARE(shown(), sent ? 2 : 1);
        host.clock.time = host.clock.time.addDays(1);
        QCOMPARE(automaticCheck(), !sent);
    }

    // Turned off, or with no service to show it, nothing is sent and
    // nothing counts as announced: the versions come once it can be.
    void nothingSent_data()
    {
        QTest::addColumn<bool>("disabled");
        QTest::newRow("turned off") << true;
        QTest::newRow("no notification service") << false;
    }
    void nothingSent()
    {
        QFETCH(bool, disabled);
        serveCatalog(1);
        publish("2.0");
        notifier->setEnabled(!disabled);
        host.notifier.available = disabled;
        QVERIFY(!automaticCheck());
        QCOMPARE(shown(), 0);
        // The choice is kept for the next start.
        QCOMPARE(UpdateNotifier(*manager, host.host, l10n).isEnabled(), !disabled);
        notifier->setEnabled(true);
        host.notifier.available = true;
        QVERIFY(automaticCheck());
        QCOMPARE(shown(), 1);
    }

    // The checks the hub starts itself announce; the user's never do.
    void automaticChecksOnly()
    {
        serveCatalog(1);
        publish("2.0");
        QVERIFY(QCoro::waitFor(manager->checkForUpdates()).ok());
        QCoreApplication::processEvents();
        QCOMPARE(shown(), 0);
        // Now and then every 50 ms, as at start and every day.
        manager = std::make_unique<UpdateManager>(service.url("/versions"), host.host, 50ms);
        notifier = std::make_unique<UpdateNotifier>(*manager, host.host, l10n);
        manager->startBackgroundChecks(catalog.get());
        QTRY_COMPARE(shown(), 1);
        publish("3.0");
        host.clock.time = host.clock.time.addDays(1);
        QTRY_COMPARE(shown(), 2);
    }
};

HUB_TEST_MAIN(UpdateNotifierTest)
#include "tst_updatenotifier.moc"
