#include "support/ViewFixture.h"

#include <QCoroTask>

using namespace std::chrono_literals;
using VersionMap = QMap<QString, QString>;
using namespace quick;

namespace {

const QString Dash = QStringLiteral("\u2014");

// A catalogue entry whose formats are installed at the given versions.
QJsonObject installed(const QString &id, const VersionMap &formatVersions)
{
    return fixtures::product(id, QmlHarness::installBundles(id, formatVersions));
}

} // namespace

// The updates tab against a real catalogue download, install probe and
// version feed.
class UpdateViewTest : public ViewFixture
{
    Q_OBJECT

    UpdateManager *manager() { return harness->state.updateManager(); }

    void load(const QJsonArray &products, const QJsonArray &feed)
    {
        serve(products, feed);
        QVERIFY(harness->settle(false));
    }
    QQuickItem *view() { return ViewFixture::view("UpdateView"); }

    // The live product rows, top to bottom.
    static QList<QQuickItem *> productRows(QQuickItem *root)
    {
        QList<QQuickItem *> rows;
        for (QObject *object : QmlHarness::findAll(root, "updateRow"))
            if (auto *row = qobject_cast<QQuickItem *>(object); row && row->isVisible() && row->window())
                rows << row;
        std::sort(rows.begin(), rows.end(), [](QQuickItem *a, QQuickItem *b) { return sceneY(a) < sceneY(b); });
        return rows;
    }

    static QQuickItem *rowOf(QQuickItem *root, const QString &productId)
    {
        for (QQuickItem *row : productRows(root))
            if (row->property("productId").toString() == productId)
                return row;
        return nullptr;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(start());
        manager()->connectSelfUpdater(&harness->selfUpdater);
    }

    void init() { harness->l10n.setLanguage(AppLanguage::En); }

    // Runs first: no catalogue and no check yet. Opening the tab only
    // reads: no request, no rebuild.
    void hubRowAloneBeforeAnything_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QString>("footer");
        QTest::addColumn<QStringList>("columnTitles");
        QTest::newRow("en") << AppLanguage::En << "Not checked yet"
                            << QStringList{"Updates", "Check for Updates", "Product", "Installed", "Latest", "Status"};
        QTest::newRow("ja") << AppLanguage::Ja << "未確認"
                            << QStringList{"アップデート", "アップデートを確認", "製品", "インストール済", "最新", "ステータス"};
    }
    void hubRowAloneBeforeAnything()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QString, footer);
        QFETCH(QStringList, columnTitles);
        harness->l10n.setLanguage(language);
        QSignalSpy states(manager(), &UpdateManager::statesChanged);
        QQuickItem *root = view();
        QVERIFY(root);
        QTest::qWait(50);
        QCOMPARE(service.requestCount(FeedPath) + service.requestCount(CatalogPath), 0);
        QCOMPARE(states.count(), 0);
        QVERIFY(!manager()->isChecking());

        QVERIFY(productRows(root).isEmpty());
        QObject *hub = QmlHarness::find(root, "hubSelfUpdateRow");
        QVERIFY(hub);
        QCOMPARE(textOf(hub, "productName"), "Quillmarsh Hub");
        QCOMPARE(textOf(hub, "installedVersion"), "1.0.0");
        QCOMPARE(textOf(hub, "latestVersion"), Dash);
        QVERIFY(shown(hub, "statusBadge")); // up to date until a feed says otherwise
        QVERIFY(!shown(hub, "updateButton"));
        QCOMPARE(textOf(root, "lastCheckedText"), footer);
        QVERIFY(!shown(root, "updatesAvailableText"));
        const QStringList texts = QmlHarness::visibleTexts(root);
        for (const QString &title : columnTitles)
            QVERIFY2(texts.contains(title), qPrintable(title));
    }

    // The footer through the first check: nothing on the left while it
    // runs, then the time; the check button is off meanwhile.
    void footerThroughTheFirstCheck()
    {
        service.setRoute(FeedPath, Route{.body = fixtures::document({fixtures::version("hub", "9.0")}), .delay = 300ms});
        QQuickItem *root = view();
        auto *check = qobject_cast<QQuickItem *>(QmlHarness::find(root, "checkButton"));
        QVERIFY(check);
        QCOMPARE(textOf(root, "lastCheckedText"), "Not checked yet");
        QVERIFY(!shown(root, "checkProgress"));

        click(check);
        QTRY_VERIFY(manager()->isChecking());
        QCOMPARE(textOf(root, "lastCheckedText"), QString());
        QVERIFY(shown(root, "checkProgress"));
        QVERIFY(!check->isEnabled());

        QTRY_VERIFY(!manager()->isChecking());
        const QString time = QLocale().toString(QTime(14, 5), QLocale::ShortFormat);
        QCOMPARE(textOf(root, "lastCheckedText"), "Last checked: " + time + " today");
        QVERIFY(!shown(root, "checkProgress"));
        QVERIFY(check->isEnabled());
        QCOMPARE(service.requestCount(FeedPath), 1);

        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(textOf(root, "lastCheckedText"), "最終確認: 今日 " + time);

        // A failed check keeps the earlier time.
        service.setRoute(FeedPath, Route{.status = 500});
        QVERIFY(!QCoro::waitFor(manager()->checkForUpdates()).ok());
        QCOMPARE(textOf(root, "lastCheckedText"), "最終確認: 今日 " + time);
    }

    void rows_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<VersionMap>("installedVersions");
        QTest::addColumn<QString>("published"); // empty: no record in the feed
        QTest::addColumn<QString>("installedLabel");
        QTest::addColumn<QString>("latestLabel");
        QTest::addColumn<QString>("badge");
        QTest::addColumn<QString>("button"); // empty: none

        using M = VersionMap;
        QTest::newRow("update available") << AppLanguage::En << M{{"VST3", "1.0"}} << "1.5" << "1.0" << "1.5" << "Update available" << "Update";
        QTest::newRow("update available, ja") << AppLanguage::Ja << M{{"VST3", "1.0"}} << "1.5" << "1.0" << "1.5" << "更新あり" << "アップデート";
        QTest::newRow("up to date") << AppLanguage::En << M{{"AU", "2.0"}, {"VST3", "2.0"}} << "2.0" << "2.0" << "2.0" << "Up to date" << "";
        QTest::newRow("up to date, ja") << AppLanguage::Ja << M{{"AU", "3.0"}} << "3.0" << "3.0" << "3.0" << "最新版" << "";
        QTest::newRow("not installed") << AppLanguage::En << M{} << "3.0" << Dash << "3.0" << "Not installed" << "";
        QTest::newRow("not installed, no record, ja") << AppLanguage::Ja << M{} << "" << Dash << Dash << "未インストール" << "";
    }
    void rows()
    {
        QFETCH(AppLanguage, language);
        QFETCH(VersionMap, installedVersions);
        QFETCH(QString, published);
        QFETCH(QString, installedLabel);
        QFETCH(QString, latestLabel);
        QFETCH(QString, badge);
        QFETCH(QString, button);

        const QString id = QString(QTest::currentDataTag()).replace(' ', '-');
        QJsonArray feed;
        if (!published.isEmpty())
            feed << fixtures::version(id, published);
        load({fixtures::product("first"), installed(id, installedVersions)}, feed);
        harness->l10n.setLanguage(language);
        QQuickItem *root = view();

        QCOMPARE(productRows(root).size(), 2);
        QQuickItem *row = rowOf(root, id);
        QVERIFY(row);
        QCOMPARE(textOf(row, "productName"), id.toUpper());
        QCOMPARE(textOf(row, "installedVersion"), installedLabel);
        QCOMPARE(textOf(row, "latestVersion"), latestLabel);
        QCOMPARE(textOf(QmlHarness::find(row, "statusBadge"), "statusText"), badge);
        QCOMPARE(accessibleName(QmlHarness::find(row, "statusBadge")), badge);
        QCOMPARE(shown(row, "updateButton"), !button.isEmpty());
        if (!button.isEmpty())
            QCOMPARE(textOf(row, "updateButton"), button);
        QCOMPARE(colorOf(row).alpha() > 0, !button.isEmpty()); // tinted
    }

    // Rows follow the catalogue's order, after the hub's row; a state whose
    // product left the catalogue has no row but still counts.
    void orderAndCount()
    {
        load({installed("b", {{"AU", "1.0"}}), installed("a", {{"AU", "1.0"}}), fixtures::product("c")},
             {fixtures::version("a", "2.0"), fixtures::version("b", "2.0"), fixtures::version("hub", "9.0")});
        QQuickItem *root = view();
        QList<QQuickItem *> rows = productRows(root);
        QStringList ids;
        for (QQuickItem *row : rows)
            ids << row->property("productId").toString();
        QCOMPARE(ids, (QStringList{"b", "a", "c"}));
        auto *hub = qobject_cast<QQuickItem *>(QmlHarness::find(root, "hubSelfUpdateRow"));
        QVERIFY(sceneY(hub) < sceneY(rows[0]));
        QCOMPARE(textOf(root, "updatesAvailableText"), "3 updates available");

        // "a" leaves the catalogue; its state stays until the next rebuild.
        service.setRoute(CatalogPath, Route{.body = fixtures::document({installed("b", {{"AU", "1.0"}})})});
        QVERIFY(QCoro::waitFor(harness->state.catalog()->fetchCatalog()).ok());
        QCoreApplication::processEvents();
        QCOMPARE(productRows(root).size(), 1);
        QCOMPARE(textOf(root, "updatesAvailableText"), "3 updates available");
        manager()->rebuildStates();
        QCOMPARE(textOf(root, "updatesAvailableText"), "2 updates available");
    }

    void footerCount_data()
    {
        QTest::addColumn<QString>("productVersion");
        QTest::addColumn<QString>("hubVersion");
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QString>("text"); // empty: hidden
        QTest::newRow("nothing new") << "1.0" << "1.0.0" << AppLanguage::En << "";
        QTest::newRow("hub only") << "1.0" << "1.0.1" << AppLanguage::En << "1 update available";
        QTest::newRow("product and hub") << "1.1" << "1.0.1" << AppLanguage::Ja << "2件のアップデートがあります";
    }
    void footerCount()
    {
        QFETCH(QString, productVersion);
        QFETCH(QString, hubVersion);
        QFETCH(AppLanguage, language);
        QFETCH(QString, text);
        load({installed("p", {{"VST3", "1.0"}})}, {fixtures::version("p", productVersion), fixtures::version("hub", hubVersion)});
        harness->l10n.setLanguage(language);
        QQuickItem *root = view();
        QCOMPARE(shown(root, "updatesAvailableText"), !text.isEmpty());
        if (!text.isEmpty())
            QCOMPARE(textOf(root, "updatesAvailableText"), text);

        // The hub row offers its own update only when the feed has one; it
        // goes to the self-updater, not the product downloads.
        QObject *hub = QmlHarness::find(root, "hubSelfUpdateRow");
        QCOMPARE(textOf(hub, "latestVersion"), hubVersion);
        const bool hubUpdate = hubVersion != "1.0.0";
        QCOMPARE(shown(hub, "updateButton"), hubUpdate);
        if (!hubUpdate)
            return;
        QSignalSpy requested(&harness->selfUpdater, &SelfUpdater::userCheckRequested);
        click(child(hub, "updateButton"));
        QCOMPARE(requested.count(), 1);
        QVERIFY(manager()->downloadingIds().isEmpty());
    }

    // A download turns its own button into "Downloading" and switches it
    // off; the other rows stay usable. The saved file is revealed.
    void downloadingRow()
    {
        service.setRoute("/files/p-2.0.deb", Route{.body = "installer", .delay = 800ms});
        service.setRoute("/files/q-2.0.deb", Route{.body = "installer"});
        load({installed("p", {{"VST3", "1.0"}}), installed("q", {{"VST3", "1.0"}})},
             {fixtures::version("p", "2.0", service.url("/files/p-2.0.deb").toString()),
              fixtures::version("q", "2.0", service.url("/files/q-2.0.deb").toString())});
        harness->l10n.setLanguage(AppLanguage::Ja);
        QQuickItem *root = view();
        auto buttonOf = [&](const QString &id) {
            return qobject_cast<QQuickItem *>(QmlHarness::find(rowOf(root, id), "updateButton"));
        };
        QVERIFY(buttonOf("p") && buttonOf("q") && !shown(buttonOf("p"), "downloadProgress"));

        click(buttonOf("p"));
        QTRY_VERIFY(manager()->downloadingIds().contains("p"));
        QCOMPARE(textOf(rowOf(root, "p"), "updateButton"), "ダウンロード中");
        QVERIFY(shown(buttonOf("p"), "downloadProgress"));
        QVERIFY(!buttonOf("p")->isEnabled());
        QVERIFY(buttonOf("q")->isEnabled());
        QCOMPARE(textOf(rowOf(root, "q"), "updateButton"), "アップデート");

        harness->l10n.setLanguage(AppLanguage::En);
        QCOMPARE(textOf(rowOf(root, "p"), "updateButton"), "Downloading");
        click(buttonOf("p")); // ignored while it runs

        QTRY_VERIFY(manager()->downloadingIds().isEmpty());
        QCOMPARE(service.requestCount("/files/p-2.0.deb"), 1);
        QCOMPARE(textOf(rowOf(root, "p"), "updateButton"), "Update");
        QVERIFY(buttonOf("p")->isEnabled());
        QVERIFY(!shown(buttonOf("p"), "downloadProgress"));
        QCOMPARE(harness->host.revealer.revealed.size(), 1);
        QCOMPARE(QFileInfo(harness->host.revealer.revealed.first()).fileName(), "p-2.0.deb");
    }
};

HUB_QUICK_TEST_MAIN(UpdateViewTest)
#include "tst_updateview.moc"
