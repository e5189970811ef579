#include "app/MainWindowFixture.h"
#include "platform/Settings.h"

#include <QCoroTask>

using namespace quick;

namespace {

// The product card an item belongs to, if any.
QQuickItem *cardOf(QQuickItem *item)
{
    while (item && item->objectName() != "productCard")
        item = item->parentItem();
    return item;
}

QString idOf(QQuickItem *card) { return card ? card->property("productId").toString() : QString(); }

} // namespace

// The main window as a whole: menus and the keyboard, the windows it opens,
// the sidebar and the catalogue watch, against a real AppState talking to a
// local service.
class MainWindowTest : public MainWindowFixture
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(open()); }

    // Each face the products tab draws (here with versions, updates and
    // coupons) was opened before the window was made.
    void firstFrameFacesArePrepared()
    {
        showTab(AppTab::Products);
        const QList<hubui::FontFace> prepared = hubui::firstFrameFaces();
        QStringList missing;
        const std::function<void(QQuickItem *)> visit = [&](QQuickItem *item) {
            if (!item->isVisible())
                return;
            if (item->inherits("QQuickText") && !item->property("text").toString().isEmpty()) {
                const QFont font = item->property("font").value<QFont>();
                const bool monospace = font.family() == "monospace";
                if (!prepared.contains(hubui::FontFace{font.pixelSize(), font.weight(), monospace}))
                    missing << QStringLiteral("%1 px, weight %2").arg(font.pixelSize()).arg(font.weight());
            }
            for (QQuickItem *child : item->childItems())
                visit(child);
        };
        visit(main->contentItem());
        missing.removeDuplicates();
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(", ")));
    }

    // F10 opens the first menu and Alt with a title's letter its menu, in
    // both languages, with the keyboard in the menu.
    void menusFromTheKeyboard_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QKeySequence>("keys");
        QTest::addColumn<QString>("menu");
        QTest::newRow("F10") << AppLanguage::En << QKeySequence("F10") << "applicationMenu";
        QTest::newRow("Alt+Q") << AppLanguage::En << QKeySequence("Alt+Q") << "applicationMenu";
        QTest::newRow("Alt+H") << AppLanguage::En << QKeySequence("Alt+H") << "helpMenu";
        QTest::newRow("Alt+H, ja") << AppLanguage::Ja << QKeySequence("Alt+H") << "helpMenu";
    }
    void menusFromTheKeyboard()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QKeySequence, keys);
        QFETCH(QString, menu);
        harness->l10n.setLanguage(language);
        QVERIFY(QTest::qWaitForWindowActive(main));
        QObject *opened = QmlHarness::find(main, menu);
        QTest::keySequence(main, keys);
        QTRY_VERIFY(opened->property("opened").toBool());
        QVERIFY(opened->property("activeFocus").toBool());
        QCOMPARE(opened->property("currentIndex").toInt(), 0);
        QTest::keyClick(main, Qt::Key_Escape);
        QTRY_VERIFY(!opened->property("visible").toBool());
        harness->l10n.setLanguage(AppLanguage::En);
    }

    // Each secondary window: made only when first wanted, its exact title,
    // in front of the main window and centred over it the first time, and
    // closed by Escape.
    void secondaryWindows_data()
    {
        QTest::addColumn<QString>("menu");
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("titles"); // English, Japanese
        QTest::addColumn<bool>("transient");
        QTest::newRow("settings") << "applicationMenu" << "settingsItem" << "settingsWindow" << QStringList{"Settings", "設定"} << true;
        QTest::newRow("about") << "applicationMenu" << "aboutItem" << "aboutWindow"
                               << QStringList{"About Quillmarsh Hub", "Quillmarsh Hub について"} << true;
        // A window of its own, titled once in the language of the moment.
        QTest::newRow("guide") << "helpMenu" << "guideItem" << "helpWindow"
                               << QStringList{"Quillmarsh Hub Guide", "Quillmarsh Hub Guide"} << false;
        // Made by the updater's first news, here a check the user asked for.
        QTest::newRow("software update") << "applicationMenu" << "checkForUpdatesItem" << "selfUpdateWindow"
                                         << QStringList{"Software Update", "ソフトウェア・アップデート"} << true;
    }
    void secondaryWindows()
    {
        QFETCH(QString, menu);
        QFETCH(QString, entry);
        QFETCH(QString, name);
        QFETCH(QStringList, titles);
        QFETCH(bool, transient);
        harness->l10n.setLanguage(AppLanguage::En);
        // Made when first wanted, not at start.
        QVERIFY(!QmlHarness::find(main, name));
        QVERIFY(choose(main, menu, entry));
        auto *window = qobject_cast<QQuickWindow *>(QmlHarness::find(main, name));
        QVERIFY(window && window->isVisible());
        QCOMPARE(window->title(), titles[0]);
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(window->title(), titles[1]);
        harness->l10n.setLanguage(AppLanguage::En);
        QCOMPARE(window->transientParent() == main, transient);
        const QPoint offset = window->geometry().center() - main->geometry().center();
        QVERIFY2(offset.manhattanLength() <= 2, qPrintable(QDebug::toString(offset)));
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_VERIFY(!window->isVisible());
    }

    // Tab goes through the cards top to bottom however the list created
    // them, scrolling each into view below the pinned header, then leaves
    // the list; Backtab goes back.
    void tabFollowsTheCards()
    {
        showTab(AppTab::Products);
        QQuickItem *list = child(main, "productList");
        // Cards that stay cached come before those made on the way back.
        QVERIFY(QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, 8), Q_ARG(int, 1 /* ListView.Center */)));
        QCoreApplication::processEvents();
        QVERIFY(QMetaObject::invokeMethod(list, "positionViewAtBeginning"));
        QCoreApplication::processEvents();

        child(main, "refreshButton")->forceActiveFocus(Qt::TabFocusReason);
        QRectF shown = sceneRect(list);
        shown.setTop(shown.top() + list->property("pinnedHeight").toReal());
        QStringList visited;
        for (int press = 0; press <= cardOrder.size() + 1; ++press) {
            QTest::keyClick(main, Qt::Key_Tab);
            QQuickItem *focus = main->activeFocusItem();
            QQuickItem *card = cardOf(focus);
            if (!card)
                break;
            QVERIFY2(shown.contains(sceneRect(focus)), qPrintable(idOf(card)));
            if (visited.isEmpty() || visited.last() != idOf(card))
                visited << idOf(card);
        }
        QCOMPARE(visited, cardOrder);
        QVERIFY(!cardOf(main->activeFocusItem()));

        // Back from the start of the window, on to the last card.
        child(main, "sidebarToggle")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(main, Qt::Key_Backtab);
        QCOMPARE(idOf(cardOf(main->activeFocusItem())), cardOrder.last());
        QTest::keyClick(main, Qt::Key_Backtab);
        QCOMPARE(idOf(cardOf(main->activeFocusItem())), cardOrder[cardOrder.size() - 2]);
    }

    // Whatever the keyboard reaches has a name to announce, on both tabs.
    void everyStopHasAName()
    {
        for (AppTab tab : {AppTab::Products, AppTab::Updates}) {
            showTab(tab);
            QQuickItem *first = main->contentItem()->nextItemInFocusChain(true);
            QQuickItem *item = first;
            do {
                QVERIFY2(!accessibleName(item).isEmpty(), qPrintable(item->objectName() + " " + item->metaObject()->className()));
                item = item->nextItemInFocusChain(true);
            } while (item && item != first);
        }
    }

    // Tabs and menus switch at once; the window title and tooltip stay.
    void textsFollowTheLanguage_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("texts"); // tabs, then the help menu's title
        QTest::addColumn<QStringList>("application");
        QTest::newRow("en") << AppLanguage::En << QStringList{"Products", "Updates", "Help"}
                            << QStringList{"About Quillmarsh Hub", "Check for Updates...", "Notify About Updates", "Settings…",
                                           "Quit Quillmarsh Hub"};
        QTest::newRow("ja") << AppLanguage::Ja << QStringList{"製品一覧", "アップデート", "ヘルプ"}
                            << QStringList{"Quillmarsh Hub について", "アップデートを確認...", "アップデートを通知", "設定…",
                                           "Quillmarsh Hub を終了"};
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

    // The menu's check turns update notifications off and on again, kept in
    // the settings file; a click on a notification brings the window to the
    // front on the Updates tab.
    void updateNotifications()
    {
        UpdateNotifier &notifier = harness->session.updateNotifier;
        QVERIFY(notifier.isEnabled());
        for (const bool enabled : {false, true}) {
            QVERIFY(choose(main, "applicationMenu", "notifyItem"));
            QCOMPARE(notifier.isEnabled(), enabled);
            QCOMPARE(platform::hubSettings().value(UpdateNotifier::EnabledKey).toBool(), enabled);
            QCOMPARE(QmlHarness::find(main, "notifyItem")->property("checked").toBool(), enabled);
        }
        showTab(AppTab::Products);
        main->showMinimized();
        emit harness->host.notifier.activated();
        QCOMPARE(harness->state.selectedTab(), AppTab::Updates);
        QVERIFY(main->visibility() != QWindow::Minimized);
        QVERIFY(QTest::qWaitForWindowActive(main));
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
