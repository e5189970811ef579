#include "support/ViewFixture.h"

#include <QAbstractItemModelTester>

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
        QVERIFY(harness->refresh());
    }

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

private slots:
    void initTestCase()
    {
        QVERIFY(start());
        new QAbstractItemModelTester(&harness->updateRows, QAbstractItemModelTester::FailureReportingMode::QtTest, this);
        manager()->triggerSparkleUpdate = [this] { harness->selfUpdater.checkForUpdates(); };
    }

    // Runs first, before any check: the hub row alone with a dash for its
    // latest version; the footer through the check: nothing while it runs,
    // then the time.
    void footerThroughTheFirstCheck()
    {
        service.setRoute(FeedPath, Route{.body = fixtures::document({fixtures::version("hub", "9.0")}), .delay = 300ms});
        QQuickItem *root = view("UpdateView");
        QVERIFY(root);
        QVERIFY(productRows(root).isEmpty());
        QCOMPARE(textOf(QmlHarness::find(root, "hubSelfUpdateRow"), "latestVersion"), Dash);
        QCOMPARE(textOf(root, "lastCheckedText"), "Not checked yet");
        QVERIFY(!shown(root, "checkProgress"));

        click(child(root, "checkButton"));
        QTRY_VERIFY(manager()->isChecking());
        QCOMPARE(textOf(root, "lastCheckedText"), QString());
        QVERIFY(shown(root, "checkProgress"));

        QTRY_VERIFY(!manager()->isChecking());
        const QString time = QLocale().toString(QTime(14, 5), QLocale::ShortFormat);
        QCOMPARE(textOf(root, "lastCheckedText"), "Last checked: " + time + " today");
        QVERIFY(!shown(root, "checkProgress"));
    }

    void rows_data()
    {
        QTest::addColumn<VersionMap>("installedVersions");
        QTest::addColumn<QString>("published"); // empty: no record in the feed
        QTest::addColumn<QString>("installedLabel");
        QTest::addColumn<QString>("latestLabel");
        QTest::addColumn<QString>("badge");
        QTest::newRow("update available") << VersionMap{{"VST3", "1.0"}} << "1.5" << "1.0" << "1.5" << "Update available";
        QTest::newRow("up to date") << VersionMap{{"AU", "2.0"}, {"VST3", "2.0"}} << "2.0" << "2.0" << "2.0" << "Up to date";
        QTest::newRow("not installed, no record") << VersionMap{} << "" << Dash << Dash << "Not installed";
    }
    void rows()
    {
        QFETCH(VersionMap, installedVersions);
        QFETCH(QString, published);
        QFETCH(QString, installedLabel);
        QFETCH(QString, latestLabel);
        QFETCH(QString, badge);
        const QString id = QString(QTest::currentDataTag()).replace(' ', '-').remove(',');
        load({installed(id, installedVersions)}, published.isEmpty() ? QJsonArray{} : QJsonArray{fixtures::version(id, published)});
        const QList<QQuickItem *> rows = productRows(view("UpdateView"));
        QCOMPARE(rows.size(), 1);
        QCOMPARE(textOf(rows[0], "installedVersion"), installedLabel);
        QCOMPARE(textOf(rows[0], "latestVersion"), latestLabel);
        QCOMPARE(textOf(QmlHarness::find(rows[0], "statusBadge"), "statusText"), badge);
        QCOMPARE(shown(rows[0], "updateButton"), badge == "Update available");
    }

    // One open table while a check publishes an update for the same row,
    // the user downloads it and switches the language.
    void openTableFollowsTheEngine()
    {
        QQuickItem *root = view("UpdateView");
        QVERIFY(root);
        const QString url = service.url("/files/t.deb").toString();
        service.setRoute("/files/t.deb", Route{.body = "installer", .delay = 300ms});
        load({installed("t", {{"VST3", "1.0"}})}, {fixtures::version("t", "1.0", url)});
        const auto row = [root](const char *part) { return child(productRows(root).value(0), part); };
        QTRY_COMPARE(productRows(root).size(), 1);
        QCOMPARE(textOf(row("statusBadge"), "statusText"), "Up to date");

        QJsonObject record = fixtures::version("t", "1.5", url);
        record.insert("release_notes", "Faster <i>and</i> lighter\n\n\n\nNew presets");
        service.setRoute(FeedPath, Route{.body = fixtures::document({record})});
        click(child(root, "checkButton"));
        QTRY_COMPARE(row("latestVersion")->property("text").toString(), "1.5");
        QCOMPARE(QmlHarness::find(row("latestVersion"), "cellTip")->property("text").toString(),
                 "Faster <i>and</i> lighter\n\nNew presets");
        QCOMPARE(textOf(row("statusBadge"), "statusText"), "Update available");
        QVERIFY(row("updateButton")->isVisible());
        QVERIFY(!shown(root, "updateAllButton")); // one update: its own button is enough

        click(row("updateButton"));
        QTRY_COMPARE(row("updateButton")->property("text").toString(), "Downloading");
        QVERIFY(shown(row("updateButton"), "buttonSpinner"));
        QTRY_COMPARE(row("updateButton")->property("text").toString(), "Update");

        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(row("updateButton")->property("text").toString(), "アップデート");
        QVERIFY(textOf(root, "updatesAvailableText").endsWith("件のアップデートがあります"));
        harness->l10n.setLanguage(AppLanguage::En);
    }

    // Rows follow the catalogue's order, after the hub's row; the count
    // includes the hub's own update. Two product updates bring "Update
    // All", which fetches both and shows them in one window.
    void orderAndCount()
    {
        for (const QString id : {"a", "b"})
            service.setRoute("/files/" + id + ".deb", Route{.body = id.toUtf8()});
        load({installed("b", {{"AU", "1.0"}}), installed("a", {{"AU", "1.0"}}), fixtures::product("c")},
             {fixtures::version("a", "2.0", service.url("/files/a.deb").toString()),
              fixtures::version("b", "2.0", service.url("/files/b.deb").toString()), fixtures::version("hub", "9.0")});
        QQuickItem *root = view("UpdateView");
        const QList<QQuickItem *> rows = productRows(root);
        QStringList ids;
        for (QQuickItem *row : rows)
            ids << textOf(row, "productName");
        QCOMPARE(ids, (QStringList{"B", "A", "C"}));
        QVERIFY(sceneY(qobject_cast<QQuickItem *>(QmlHarness::find(root, "hubSelfUpdateRow"))) < sceneY(rows[0]));
        QCOMPARE(textOf(root, "updatesAvailableText"), "3 updates available");

        harness->host.revealer = {};
        click(child(root, "updateAllButton"));
        QTRY_COMPARE(harness->host.revealer.revealed.size(), 2);
        QCOMPARE(harness->host.revealer.windows, 1);
        QVERIFY(harness->host.revealer.revealed[0].endsWith("/b.deb"));
    }
};

HUB_QUICK_TEST_MAIN(UpdateViewTest)
#include "tst_updateview.moc"
