#include "support/ViewFixture.h"

#include <QCoroTask>

using namespace quick;

namespace {

QJsonObject installed(const QString &id)
{
    return fixtures::product(id, QmlHarness::installBundles(id, {{"VST3", "1.0"}}));
}

} // namespace

// The main window as a whole: menus, sidebar and the catalogue watch,
// against a real AppState talking to a local service.
class MainWindowTest : public ViewFixture
{
    Q_OBJECT

    QQuickWindow *main = nullptr;

private slots:
    void initTestCase()
    {
        // The window binds the catalogue itself, so no start().
        QVERIFY(service.listen());
        serve({installed("a"), fixtures::product("b")}, {fixtures::version("a", "2.0")});
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        main = harness->openMainWindow();
        QVERIFY(main);
        QVERIFY(QTest::qWaitForWindowExposed(main));
        QTRY_VERIFY(harness->state.catalog()->revision() >= 1 && !harness->state.catalog()->isLoading());
        QTRY_VERIFY(harness->state.updateManager()->hasLastChecked());
    }

    // Tabs and menus switch at once; the window title and tooltip stay.
    void textsFollowTheLanguage_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("texts"); // tabs, then the help menu's title
        QTest::addColumn<QStringList>("application");
        QTest::newRow("en") << AppLanguage::En << QStringList{"Products", "Updates", "Help"}
                            << QStringList{"About Quillmarsh Hub", "Check for Updates...", "Settings…", "Quit Quillmarsh Hub"};
        QTest::newRow("ja") << AppLanguage::Ja << QStringList{"製品一覧", "アップデート", "ヘルプ"}
                            << QStringList{"Quillmarsh Hub について", "アップデートを確認...", "設定…", "Quillmarsh Hub を終了"};
    }
    void textsFollowTheLanguage()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QStringList, texts);
        QFETCH(QStringList, application);
        harness->l10n.setLanguage(AppLanguage(1 - int(language)));
        harness->l10n.setLanguage(language); // a switch shows at once
        QObject *bar = QmlHarness::find(main, "menuBar");
        QVERIFY(bar);
        QCOMPARE((QStringList{textOf(main, "productsTab"), textOf(main, "updatesTab"),
                              QmlHarness::find(bar, "helpMenu")->property("title").toString()}), texts);
        QStringList entries;
        for (QQuickItem *item : menuEntries(QmlHarness::find(bar, "applicationMenu")))
            entries << item->property("text").toString();
        QCOMPARE(entries, application);
        QCOMPARE(main->title(), "Quillmarsh Hub");
        QCOMPARE(textOf(main, "sidebarToggleTip"), "Toggle Sidebar");
    }

    // The toggle hides the sidebar and gives its room to the detail, and
    // brings it back at the width it had.
    void sidebarToggle()
    {
        QQuickItem *sidebar = child(main, "sidebar");
        QQuickItem *detail = child(main, "detail");
        QVERIFY(sidebar && detail);
        const qreal width = sidebar->width();
        click(child(main, "sidebarToggle"));
        QTRY_VERIFY(!sidebar->isVisible());
        QTRY_COMPARE(detail->width(), main->contentItem()->width());
        click(child(main, "sidebarToggle"));
        QTRY_COMPARE(sidebar->width(), width);
        QTRY_VERIFY(detail->mapToScene(QPointF()).x() >= width);
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
        QCOMPARE(events, (QStringList{"state", "state", "state", "state", "rebuild"}));
    }
};

HUB_QUICK_TEST_MAIN(MainWindowTest)
#include "tst_mainwindow.moc"
