#include "support/Fixtures.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/QmlHarness.h"

#include <QCoroTask>
#include <QtTest>

using Route = LocalHttpService::Route;

namespace {

const QString CatalogPath = QStringLiteral("/api/hub/products");
const QString FeedPath = QStringLiteral("/api/plugin-versions");

QJsonObject installed(const QString &id)
{
    const QString path = QString("Plugins/%1/VST3.bundle").arg(id);
    plistwriter::writeBundle(TestSandbox::current().home() + "/" + path, {{"CFBundleShortVersionString", "1.0"}},
                             plistwriter::Format::Xml);
    return fixtures::product(id, {{"VST3", path}});
}

QQuickItem *child(QObject *root, const QString &name)
{
    return qobject_cast<QQuickItem *>(QmlHarness::find(root, name));
}

QString textOf(QObject *root, const QString &name)
{
    QObject *part = QmlHarness::find(root, name);
    return part ? part->property("text").toString() : QStringLiteral("<missing %1>").arg(name);
}

QPoint centreOf(QQuickItem *item)
{
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

void click(QQuickItem *item) { QTest::mouseClick(item->window(), Qt::LeftButton, {}, centreOf(item)); }

// The entries of a menu, separators left out.
QList<QQuickItem *> entriesOf(QObject *menu)
{
    QList<QQuickItem *> entries;
    const int count = menu->property("count").toInt();
    for (int i = 0; i < count; ++i) {
        QQuickItem *item = nullptr;
        QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem *, item), Q_ARG(int, i));
        if (item && item->inherits("QQuickMenuItem"))
            entries << item;
    }
    return entries;
}

QStringList textsOf(const QList<QQuickItem *> &items)
{
    QStringList texts;
    for (QQuickItem *item : items)
        texts << item->property("text").toString();
    return texts;
}

} // namespace

// The main window as a whole: menus, sidebar, tabs and the catalogue watch,
// against a real AppState talking to a local service.
class MainWindowTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    std::unique_ptr<QmlHarness> harness;
    QQuickWindow *main = nullptr;

    QQuickItem *sidebar() { return child(main, "sidebar"); }
    QObject *content() { return QmlHarness::find(main, "contentView"); }

    // Chooses an entry of a menu the way a user does: open, then click.
    void choose(const QString &menuName, const QString &entryName)
    {
        QObject *menu = QmlHarness::find(main, menuName);
        QVERIFY(menu);
        QMetaObject::invokeMethod(menu, "open");
        QTRY_VERIFY(menu->property("opened").toBool());
        QQuickItem *entry = nullptr;
        for (QQuickItem *item : entriesOf(menu))
            if (item->objectName() == entryName)
                entry = item;
        QVERIFY2(entry, qPrintable(entryName));
        click(entry);
        QTRY_VERIFY(!menu->property("visible").toBool());
    }

    // Clicks the toolbar's toggle and waits for the slide to end.
    void toggleSidebar()
    {
        const bool wasShown = content()->property("sidebarShown").toBool();
        click(child(main, "sidebarToggle"));
        QCOMPARE(content()->property("sidebarShown").toBool(), !wasShown);
        QTRY_COMPARE(content()->property("sidebarCollapse").toReal(), wasShown ? 1.0 : 0.0);
        // The split view lays out on its next polish.
        if (wasShown)
            QTRY_VERIFY(!sidebar()->isVisible());
        else
            QTRY_COMPARE(sidebar()->width(), content()->property("sidebarWidth").toReal());
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        service.setRoute(CatalogPath, Route{.body = fixtures::document({installed("a"), fixtures::product("b")})});
        service.setRoute(FeedPath, Route{.body = fixtures::document({fixtures::version("a", "2.0")})});
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        main = qobject_cast<QQuickWindow *>(harness->createWindow("Main"));
        QVERIFY(main);
        QVERIFY(QTest::qWaitForWindowExposed(main));
        main->requestActivate();
        // The window's appearance starts the work: a download and a check.
        QTRY_VERIFY(harness->state.catalog()->revision() >= 1 && !harness->state.catalog()->isLoading());
        QTRY_VERIFY(harness->state.updateManager()->hasLastChecked());
        QCOMPARE(service.requestCount(CatalogPath), 1);
        QCOMPARE(harness->state.installState("a"), HubInstallState::Installed);
    }

    void init() { harness->l10n.setLanguage(AppLanguage::En); }

    void windowSizes()
    {
        QCOMPARE(main->title(), "Quillmarsh Hub");
        QCOMPARE(main->size(), QSize(900, 600));
        QCOMPARE(main->minimumSize(), QSize(700, 500));
        QCOMPARE(main->color(), child(main, "contentView")->property("color").value<QColor>());
    }

    void textsFollowTheLanguage_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("tabs");
        QTest::addColumn<QStringList>("menus");
        QTest::newRow("en") << AppLanguage::En << QStringList{"Products", "Updates"}
                            << QStringList{"Quillmarsh Hub", "Help"};
        QTest::newRow("ja") << AppLanguage::Ja << QStringList{"製品一覧", "アップデート"}
                            << QStringList{"Quillmarsh Hub", "ヘルプ"};
    }
    void textsFollowTheLanguage()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QStringList, tabs);
        QFETCH(QStringList, menus);
        harness->l10n.setLanguage(language);
        QCOMPARE(textOf(main, "productsTab"), tabs[0]);
        QCOMPARE(textOf(main, "updatesTab"), tabs[1]);
        QCOMPARE(QmlHarness::find(main, "applicationMenu")->property("title").toString(), menus[0]);
        QCOMPARE(QmlHarness::find(main, "helpMenu")->property("title").toString(), menus[1]);
        // Fixed in every language.
        QCOMPARE(main->title(), "Quillmarsh Hub");
        QCOMPARE(textOf(main, "sidebarToggleTip"), "Toggle Sidebar");
        QCOMPARE(textOf(main, "logoTip"), "quillmarsh.example");
    }

    // Exactly these entries, in this order; nothing makes a new window.
    void menuEntries_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("application");
        QTest::addColumn<QStringList>("help");
        QTest::newRow("en") << AppLanguage::En
                            << QStringList{"About Quillmarsh Hub", "Check for Updates...", "Settings…",
                                           "Quit Quillmarsh Hub"}
                            << QStringList{"Quillmarsh Hub Guide", "Open Support Center"};
        QTest::newRow("ja") << AppLanguage::Ja
                            << QStringList{"Quillmarsh Hub について", "アップデートを確認...", "設定…",
                                           "Quillmarsh Hub を終了"}
                            << QStringList{"Quillmarsh Hub の使い方", "サポートページを開く"};
    }
    void menuEntries()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QStringList, application);
        QFETCH(QStringList, help);
        harness->l10n.setLanguage(AppLanguage(1 - int(language)));
        harness->l10n.setLanguage(language); // a switch shows at once
        QObject *bar = QmlHarness::find(main, "menuBar");
        QVERIFY(bar);
        QCOMPARE(QmlHarness::findAll(bar, "applicationMenu").size() + QmlHarness::findAll(bar, "helpMenu").size(), 2);
        QCOMPARE(textsOf(entriesOf(QmlHarness::find(main, "applicationMenu"))), application);
        QCOMPARE(textsOf(entriesOf(QmlHarness::find(main, "helpMenu"))), help);
    }

    void checkForUpdatesReachesTheSelfUpdater()
    {
        QSignalSpy requested(&harness->selfUpdater, &SelfUpdater::userCheckRequested);
        choose("applicationMenu", "checkForUpdatesItem");
        QCOMPARE(requested.count(), 1);
        // The window handed the same updater to the update manager when it
        // appeared: the hub row's Update button reaches it too.
        harness->state.updateManager()->startHubSelfUpdate();
        QCOMPARE(requested.count(), 2);
    }

    void supportCenterAndLogoOpenTheSite()
    {
        harness->host.urlOpener.opened.clear();
        choose("helpMenu", "supportItem");
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{DesktopLinks::supportCenter()});
        click(child(main, "logoButton"));
        QCOMPARE(harness->host.urlOpener.opened.last(), DesktopLinks::makerSite());
    }

    void settingsAndAboutWindows()
    {
        auto *settings = qobject_cast<QWindow *>(QmlHarness::find(main, "settingsWindow"));
        QVERIFY(settings && !settings->isVisible());
        choose("applicationMenu", "settingsItem");
        QTRY_VERIFY(settings->isVisible());
        QCOMPARE(settings->size(), QSize(320, 120));
        settings->close();
        QTRY_VERIFY(!settings->isVisible());
        main->requestActivate();
        QTRY_COMPARE(QGuiApplication::focusWindow(), main);
        QTest::keyClick(main, Qt::Key_Comma, Qt::ControlModifier);
        QTRY_VERIFY(settings->isVisible());
        settings->close();

        auto *about = qobject_cast<QWindow *>(QmlHarness::find(main, "aboutWindow"));
        QVERIFY(about && !about->isVisible());
        harness->l10n.setLanguage(AppLanguage::Ja);
        choose("applicationMenu", "aboutItem");
        QTRY_VERIFY(about->isVisible());
        QCOMPARE(textOf(about, "aboutVersion"), "バージョン 1.0.0");
        QCOMPARE(about->title(), "Quillmarsh Hub について");
        harness->host.urlOpener.opened.clear();
        click(child(about, "makerSiteLink"));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{DesktopLinks::makerSite()});
        about->close();
    }

    // Only the selected tab's view exists.
    void tabsChooseTheDetail()
    {
        QVERIFY(child(main, "productListView"));
        QVERIFY(!child(main, "updateView"));
        click(child(main, "updatesTab"));
        QCOMPARE(harness->state.selectedTab(), AppTab::Updates);
        QTRY_VERIFY(!child(main, "productListView"));
        QVERIFY(child(main, "updateView"));

        // From the keyboard: Up to the other tab, Space to choose it.
        child(main, "updatesTab")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(main, Qt::Key_Up);
        QVERIFY(child(main, "productsTab")->hasActiveFocus());
        QTest::keyClick(main, Qt::Key_Space);
        QCOMPARE(harness->state.selectedTab(), AppTab::Products);
        QTRY_VERIFY(child(main, "productListView"));
        QVERIFY(!child(main, "updateView"));
    }

    void sidebarToggle()
    {
        QQuickItem *detail = child(main, "detail");
        QCOMPARE(sidebar()->width(), 180.0);
        toggleSidebar();
        QVERIFY(!sidebar()->isVisible());
        QTRY_COMPARE(detail->width(), main->contentItem()->width());
        QCOMPARE(detail->mapToScene(QPointF()).x(), 0.0);

        toggleSidebar();
        QVERIFY(sidebar()->isVisible());
        QCOMPARE(sidebar()->width(), 180.0);
        QVERIFY(detail->mapToScene(QPointF()).x() >= 180.0);
    }

    // The divider can be dragged between 160 and 220; the sidebar comes back
    // at the width it had.
    void sidebarWidthBounds_data()
    {
        QTest::addColumn<int>("dragTo");
        QTest::addColumn<qreal>("width");
        QTest::newRow("too narrow") << 40 << 160.0;
        QTest::newRow("within") << 200 << 200.0;
        QTest::newRow("too wide") << 400 << 220.0;
    }
    void sidebarWidthBounds()
    {
        QFETCH(int, dragTo);
        QFETCH(qreal, width);
        const int y = int(sidebar()->mapToScene(QPointF(0, sidebar()->height() / 2)).y());
        // The grip reaches a little either side of the 1-pixel line.
        const int from = int(sidebar()->mapToScene(QPointF(sidebar()->width(), 0)).x()) + 3;
        const int to = from + dragTo - int(sidebar()->width());
        QTest::mousePress(main, Qt::LeftButton, {}, QPoint(from, y));
        for (int step = 1; step <= 10; ++step)
            QTest::mouseMove(main, QPoint(from + (to - from) * step / 10, y));
        QTest::mouseRelease(main, Qt::LeftButton, {}, QPoint(to, y));
        QTRY_COMPARE(sidebar()->width(), width);

        toggleSidebar();
        toggleSidebar();
        QCOMPARE(sidebar()->width(), width);
    }

    // Each applied catalogue re-probes every product, then rebuilds the
    // update states; a view that appears does not.
    void catalogueWatch()
    {
        QStringList events;
        auto *manager = harness->state.updateManager();
        QMetaObject::Connection probes = connect(&harness->state, &AppState::productStatesChanged, this,
                                                 [&] { events << "state"; });
        QMetaObject::Connection rebuilds = connect(manager, &UpdateManager::statesChanged, this,
                                                   [&] { events << "rebuild"; });

        QQuickItem *another = harness->create("ContentView");
        QVERIFY(another);
        QCOMPARE(events, QStringList());
        delete another;

        service.setRoute(CatalogPath, Route{.body = fixtures::document({installed("a"), installed("fresh")})});
        QVERIFY(QCoro::waitFor(harness->state.catalog()->fetchCatalog()).ok());
        disconnect(probes);
        disconnect(rebuilds);

        QCOMPARE(harness->state.installState("fresh"), HubInstallState::Installed);
        QVERIFY(manager->states().contains("fresh"));
        QVERIFY(!manager->states().contains("b"));
        // Both products go through loading, then one rebuild follows.
        QCOMPARE(events, (QStringList{"state", "state", "state", "state", "rebuild"}));
    }
};

HUB_QUICK_TEST_MAIN(MainWindowTest)
#include "tst_mainwindow.moc"
