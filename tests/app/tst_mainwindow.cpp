#include "support/ViewFixture.h"

#include <QCoroTask>

using namespace quick;

namespace {

QJsonObject installed(const QString &id)
{
    return fixtures::product(id, QmlHarness::installBundles(id, {{"VST3", "1.0"}}));
}

QStringList entryTexts(QObject *menu)
{
    QStringList texts;
    for (QQuickItem *item : menuEntries(menu))
        texts << item->property("text").toString();
    return texts;
}

} // namespace

// The main window as a whole: menus, sidebar, tabs and the catalogue watch,
// against a real AppState talking to a local service.
class MainWindowTest : public ViewFixture
{
    Q_OBJECT

    QQuickWindow *main = nullptr;

    QQuickItem *sidebarItem() { return child(main, "sidebar"); }
    QObject *content() { return QmlHarness::find(main, "contentView"); }

    // Clicks the toolbar's toggle and waits for the slide to end.
    void toggleSidebar()
    {
        const bool wasShown = content()->property("sidebarShown").toBool();
        click(child(main, "sidebarToggle"));
        QCOMPARE(content()->property("sidebarShown").toBool(), !wasShown);
        QTRY_COMPARE(content()->property("sidebarCollapse").toReal(), wasShown ? 1.0 : 0.0);
        // The split view lays out on its next polish.
        if (wasShown)
            QTRY_VERIFY(!sidebarItem()->isVisible());
        else
            QTRY_COMPARE(sidebarItem()->width(), content()->property("sidebarWidth").toReal());
    }

private slots:
    void initTestCase()
    {
        // The window binds the catalogue itself, so no start().
        QVERIFY(service.listen());
        serve({installed("a"), fixtures::product("b")}, {fixtures::version("a", "2.0")});
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        main = qobject_cast<QQuickWindow *>(harness->createWindow("Main"));
        QVERIFY(main);
        QVERIFY(QTest::qWaitForWindowExposed(main));
        QCOMPARE(main->size(), QSize(900, 600));
        QCOMPARE(main->minimumSize(), QSize(700, 500));
        main->requestActivate();
        // The window's appearance starts the work: a download and a check.
        QTRY_VERIFY(harness->state.catalog()->revision() >= 1 && !harness->state.catalog()->isLoading());
        QTRY_VERIFY(harness->state.updateManager()->hasLastChecked());
        QCOMPARE(service.requestCount(CatalogPath), 1);
        QCOMPARE(harness->state.installState("a"), HubInstallState::Installed);
    }

    void init() { harness->l10n.setLanguage(AppLanguage::En); }

    // Tabs, menu titles and entries switch at once; the window title and the
    // tooltips stay. Exactly these entries, in this order.
    void textsFollowTheLanguage_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("tabs");
        QTest::addColumn<QString>("helpTitle");
        QTest::addColumn<QStringList>("application");
        QTest::addColumn<QStringList>("help");
        QTest::newRow("en") << AppLanguage::En << QStringList{"Products", "Updates"} << "Help"
                            << QStringList{"About Quillmarsh Hub", "Check for Updates...", "Settings…",
                                           "Quit Quillmarsh Hub"}
                            << QStringList{"Quillmarsh Hub Guide", "Open Support Center"};
        QTest::newRow("ja") << AppLanguage::Ja << QStringList{"製品一覧", "アップデート"} << "ヘルプ"
                            << QStringList{"Quillmarsh Hub について", "アップデートを確認...", "設定…",
                                           "Quillmarsh Hub を終了"}
                            << QStringList{"Quillmarsh Hub の使い方", "サポートページを開く"};
    }
    void textsFollowTheLanguage()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QStringList, tabs);
        QFETCH(QString, helpTitle);
        QFETCH(QStringList, application);
        QFETCH(QStringList, help);
        harness->l10n.setLanguage(AppLanguage(1 - int(language)));
        harness->l10n.setLanguage(language); // a switch shows at once
        QCOMPARE((QStringList{textOf(main, "productsTab"), textOf(main, "updatesTab")}), tabs);
        QObject *bar = QmlHarness::find(main, "menuBar");
        QVERIFY(bar);
        QCOMPARE(QmlHarness::findAll(bar, "applicationMenu").size() + QmlHarness::findAll(bar, "helpMenu").size(), 2);
        QCOMPARE(QmlHarness::find(bar, "applicationMenu")->property("title").toString(), "Quillmarsh Hub");
        QCOMPARE(QmlHarness::find(bar, "helpMenu")->property("title").toString(), helpTitle);
        QCOMPARE(entryTexts(QmlHarness::find(bar, "applicationMenu")), application);
        QCOMPARE(entryTexts(QmlHarness::find(bar, "helpMenu")), help);
        // Fixed in every language.
        QCOMPARE(main->title(), "Quillmarsh Hub");
        QCOMPARE(textOf(main, "sidebarToggleTip"), "Toggle Sidebar");
        QCOMPARE(textOf(main, "logoTip"), "quillmarsh.example");
    }

    void checkForUpdatesReachesTheSelfUpdater()
    {
        QSignalSpy requested(&harness->selfUpdater, &SelfUpdater::userCheckRequested);
        QVERIFY(choose(main, "applicationMenu", "checkForUpdatesItem"));
        QCOMPARE(requested.count(), 1);
        // The window handed the same updater to the update manager when it
        // appeared: the hub row's Update button reaches it too.
        harness->state.updateManager()->startHubSelfUpdate();
        QCOMPARE(requested.count(), 2);
    }

    void supportCenterAndLogoOpenTheSite()
    {
        harness->host.urlOpener.opened.clear();
        QVERIFY(choose(main, "helpMenu", "supportItem"));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{DesktopLinks::supportCenter()});
        click(child(main, "logoButton"));
        QCOMPARE(harness->host.urlOpener.opened.last(), DesktopLinks::makerSite());
    }

    void settingsAndAboutWindows()
    {
        auto *settings = qobject_cast<QWindow *>(QmlHarness::find(main, "settingsWindow"));
        QVERIFY(settings && !settings->isVisible());
        QVERIFY(choose(main, "applicationMenu", "settingsItem"));
        QTRY_VERIFY(settings->isVisible());
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
        QVERIFY(choose(main, "applicationMenu", "aboutItem"));
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

    // The toggle hides the sidebar and gives its room to the detail; the
    // divider drags between 160 and 220, and the sidebar comes back at the
    // width it had.
    void sidebar_data()
    {
        QTest::addColumn<int>("dragTo"); // 0: no drag
        QTest::addColumn<qreal>("width");
        QTest::newRow("as first shown") << 0 << 180.0;
        QTest::newRow("too narrow") << 40 << 160.0;
        QTest::newRow("within") << 200 << 200.0;
        QTest::newRow("too wide") << 400 << 220.0;
    }
    void sidebar()
    {
        QFETCH(int, dragTo);
        QFETCH(qreal, width);
        if (dragTo) {
            const int y = int(sidebarItem()->mapToScene(QPointF(0, sidebarItem()->height() / 2)).y());
            // The grip reaches a little either side of the 1-pixel line.
            const int from = int(sidebarItem()->mapToScene(QPointF(sidebarItem()->width(), 0)).x()) + 3;
            const int to = from + dragTo - int(sidebarItem()->width());
            QTest::mousePress(main, Qt::LeftButton, {}, QPoint(from, y));
            for (int step = 1; step <= 10; ++step)
                QTest::mouseMove(main, QPoint(from + (to - from) * step / 10, y));
            QTest::mouseRelease(main, Qt::LeftButton, {}, QPoint(to, y));
        }
        QTRY_COMPARE(sidebarItem()->width(), width);

        QQuickItem *detail = child(main, "detail");
        toggleSidebar();
        QTRY_COMPARE(detail->width(), main->contentItem()->width());
        QCOMPARE(detail->mapToScene(QPointF()).x(), 0.0);
        toggleSidebar();
        QCOMPARE(sidebarItem()->width(), width);
        QVERIFY(detail->mapToScene(QPointF()).x() >= width);
    }

    // Each applied catalogue re-probes every product, then rebuilds the
    // update states; a view that appears does not.
    void catalogueWatch()
    {
        auto *manager = harness->state.updateManager();
        QStringList events;
        QObject scope; // ends the connections with the test
        connect(&harness->state, &AppState::productStatesChanged, &scope, [&] { events << "state"; });
        connect(manager, &UpdateManager::statesChanged, &scope, [&] { events << "rebuild"; });
        delete harness->create("ContentView");
        QCOMPARE(events, QStringList());

        service.setRoute(CatalogPath, Route{.body = fixtures::document({installed("a"), installed("fresh")})});
        QVERIFY(QCoro::waitFor(harness->state.catalog()->fetchCatalog()).ok());
        QCOMPARE(harness->state.installState("fresh"), HubInstallState::Installed);
        QVERIFY(manager->states().contains("fresh"));
        QVERIFY(!manager->states().contains("b"));
        // Both products go through loading, then one rebuild follows.
        QCOMPARE(events, (QStringList{"state", "state", "state", "state", "rebuild"}));
    }
};

HUB_QUICK_TEST_MAIN(MainWindowTest)
#include "tst_mainwindow.moc"
