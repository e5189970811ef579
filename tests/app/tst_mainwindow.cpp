#include "support/ViewFixture.h"

#include <QCoroTask>
#include <QFontInfo>

using namespace quick;

namespace {

QJsonObject installed(const QString &id)
{
    return fixtures::product(id, QmlHarness::installBundles(id, {{"VST3", "1.0"}}));
}

// Installed, with an update, and every badge at its longest.
QJsonObject crowded(const QString &id)
{
    QJsonObject product = installed(id);
    product.insert("display_name", "Marsh Reverb Convolution Suite");
    product.insert("badge_label", "ORCHESTRAL");
    product.insert("coupon_code", "PIANO-LAUNCH");
    product.insert("coupon_label", "Launch price");
    return product;
}

QRectF sceneRect(QQuickItem *item) { return item->mapRectToScene(QRectF(0, 0, item->width(), item->height())); }

bool overlap(QQuickItem *a, QQuickItem *b)
{
    const QRectF shared = sceneRect(a).intersected(sceneRect(b));
    return shared.width() > 0.5 && shared.height() > 0.5;
}

// The product card an item belongs to, if any.
QQuickItem *cardOf(QQuickItem *item)
{
    while (item && item->objectName() != "productCard")
        item = item->parentItem();
    return item;
}

} // namespace

// The main window as a whole: menus, sidebar and the catalogue watch,
// against a real AppState talking to a local service.
class MainWindowTest : public ViewFixture
{
    Q_OBJECT

    QQuickWindow *main = nullptr;
    QSizeF firstContent;
    QStringList cardOrder; // product ids as the list shows them

    QQuickItem *content() { return child(main, "splitView"); }

    void showTab(AppTab tab)
    {
        harness->state.setSelectedTab(tab);
        QCoreApplication::processEvents();
    }

private slots:
    void initTestCase()
    {
        // The window binds the catalogue itself, so no start().
        QVERIFY(service.listen());
        QJsonArray products{crowded("a"), fixtures::product("b")};
        for (int i = 0; i < 24; ++i)
            products << fixtures::product(QString("c%1").arg(i, 2, 10, QChar('0')));
        serve(products, {fixtures::version("a", "2.0", service.url("/files/a.deb").toString()), fixtures::version("hub", "9.0")});
        service.setRoute("/files/a.deb", Route{.body = "installer", .delay = std::chrono::milliseconds(800)});
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        main = qobject_cast<QQuickWindow *>(harness->createWindow("Main"));
        QVERIFY(main);
        QVERIFY(QTest::qWaitForWindowExposed(main));
        QTRY_VERIFY(harness->state.catalog()->revision() >= 1 && !harness->state.catalog()->isLoading());
        QTRY_VERIFY(harness->state.updateManager()->hasLastChecked());
        firstContent = content()->size();
        for (int row = 0; row < harness->productList.rowCount(); ++row)
            cardOrder << harness->productList.index(row).data(ProductListModel::ProductIdRole).toString();
    }

    // The menu bar and toolbar come on top of the content's size.
    void contentSizes()
    {
        QCOMPARE(firstContent, QSizeF(900, 600));
        const QSize first = main->size();
        main->resize(main->minimumSize());
        QTRY_COMPARE(content()->size(), QSizeF(700, 500));
        main->resize(first);
        QTRY_COMPARE(content()->size(), firstContent);
    }

    // Rendered sizes are the described ones, in logical pixels.
    void textSizes_data()
    {
        QTest::addColumn<AppTab>("tab");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("pixels");
        QTest::newRow("products title") << AppTab::Products << "listTitle" << 16;
        QTest::newRow("product name") << AppTab::Products << "productName" << 13;
        QTest::newRow("install state") << AppTab::Products << "statusText" << 11;
        QTest::newRow("count") << AppTab::Products << "summaryValue" << 18;
        QTest::newRow("section") << AppTab::Products << "sectionTitle" << 11;
        QTest::newRow("update status") << AppTab::Updates << "statusText" << 12;
        QTest::newRow("installed version") << AppTab::Updates << "installedVersion" << 13;
        QTest::newRow("footer") << AppTab::Updates << "lastCheckedText" << 11;
    }
    void textSizes()
    {
        QFETCH(AppTab, tab);
        QFETCH(QString, name);
        showTab(tab);
        const QList<QQuickItem *> texts = visibleItems(main, name);
        QVERIFY(!texts.isEmpty());
        QTEST(QFontInfo(texts.first()->property("font").value<QFont>()).pixelSize(), "pixels");
    }

    // Both tabs show their scroll bar while there is more than fits,
    // before any scrolling.
    void scrollBarsShowWithoutScrolling()
    {
        for (AppTab tab : {AppTab::Products, AppTab::Updates}) {
            showTab(tab);
            const QList<QQuickItem *> bars = visibleItems(child(main, "detail")->property("item").value<QObject *>(), "scrollBar");
            // Reached through the list and through its attached property alike.
            QCOMPARE(QSet<QQuickItem *>(bars.cbegin(), bars.cend()).size(), 1);
            QVERIFY(bars[0]->property("size").toReal() < 1);
            QVERIFY(bars[0]->property("contentItem").value<QQuickItem *>()->opacity() > 0);
        }
    }

    // At 700 by 500 and at the first size, in both languages: every part of
    // a card or a table row keeps some width and none covers another; the
    // table's columns keep their widths, with or without a download running.
    void partsStayApart_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<bool>("smallest");
        QTest::addColumn<bool>("downloading");
        for (AppLanguage language : {AppLanguage::En, AppLanguage::Ja}) {
            const char *tag = language == AppLanguage::En ? "en" : "ja";
            QTest::addRow("%s, smallest", tag) << language << true << false;
            QTest::addRow("%s, smallest, downloading", tag) << language << true << true;
            QTest::addRow("%s, first size", tag) << language << false << false;
        }
    }
    void partsStayApart()
    {
        QFETCH(AppLanguage, language);
        QFETCH(bool, smallest);
        QFETCH(bool, downloading);
        harness->l10n.setLanguage(language);
        const QSize first = main->size();
        if (smallest) {
            main->resize(main->minimumSize());
            QTRY_COMPARE(content()->size(), QSizeF(700, 500));
        }
        if (downloading) {
            harness->state.updateManager()->downloadAndReveal("a", service.url("/files/a.deb").toString());
            QVERIFY(harness->state.updateManager()->downloadingIds().contains("a"));
        }

        showTab(AppTab::Products);
        int cards = 0;
        for (QQuickItem *card : visibleItems(main, "productCard")) {
            if (!sceneRect(child(main, "productList")).contains(sceneRect(card)))
                continue;
            ++cards;
            QList<QQuickItem *> parts;
            for (const char *name : {"productName", "categoryBadge", "updateBadge", "couponBadge", "stateBadge", "actionButton"})
                if (QQuickItem *part = child(card, name); part && part->isVisible())
                    parts << part;
            for (QQuickItem *part : parts) {
                const qreal least = qMin(part->implicitWidth(), part->objectName() == "productName" ? 40.0 : 20.0);
                QVERIFY2(part->width() >= least, qPrintable(part->objectName()));
                QVERIFY2(sceneRect(card).contains(sceneRect(part)), qPrintable(part->objectName()));
                for (QQuickItem *other : parts)
                    QVERIFY2(part == other || !overlap(part, other), qPrintable(part->objectName() + " / " + other->objectName()));
            }
        }
        QVERIFY(cards >= 4);

        showTab(AppTab::Updates);
        QList<QQuickItem *> rows = visibleItems(main, "updateRow");
        rows << child(main, "hubSelfUpdateRow");
        for (QQuickItem *row : rows) {
            QCOMPARE(child(row, "installedVersion")->width(), 100.0);
            QCOMPARE(child(row, "latestVersion")->width(), 100.0);
            QVERIFY(child(row, "productName")->width() >= 20);
            QVERIFY(!overlap(child(row, "productName"), child(row, "productIcon")) || !child(row, "productIcon")->isVisible());
            QQuickItem *status = child(row, "statusText");
            QQuickItem *button = child(row, "updateButton");
            QVERIFY2(!status->property("truncated").toBool(), qPrintable(status->property("text").toString()));
            if (!button->isVisible())
                continue;
            QVERIFY(button->width() <= 90);
            QVERIFY(!overlap(status, button));
            QVERIFY(sceneRect(button).contains(sceneRect(child(button, "buttonLabel"))));
        }
        QTRY_VERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
        main->resize(first);
        harness->l10n.setLanguage(AppLanguage::En);
    }

    // F10 opens the first menu and Alt with a title's letter its menu, in
    // both languages, with the keyboard in the menu.
    void menusFromTheKeyboard_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("menu");
        QTest::newRow("F10") << AppLanguage::En << int(Qt::Key_F10) << int(Qt::NoModifier) << "applicationMenu";
        QTest::newRow("Alt+Q") << AppLanguage::En << int(Qt::Key_Q) << int(Qt::AltModifier) << "applicationMenu";
        QTest::newRow("Alt+H") << AppLanguage::En << int(Qt::Key_H) << int(Qt::AltModifier) << "helpMenu";
        QTest::newRow("Alt+H, ja") << AppLanguage::Ja << int(Qt::Key_H) << int(Qt::AltModifier) << "helpMenu";
    }
    void menusFromTheKeyboard()
    {
        QFETCH(AppLanguage, language);
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, menu);
        harness->l10n.setLanguage(language);
        QVERIFY(QTest::qWaitForWindowActive(main));
        QObject *opened = QmlHarness::find(main, menu);
        QTest::keyClick(main, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QTRY_VERIFY(opened->property("opened").toBool());
        QVERIFY(opened->property("activeFocus").toBool());
        QCOMPARE(opened->property("currentIndex").toInt(), 0);
        QTest::keyClick(main, Qt::Key_Escape);
        QTRY_VERIFY(!opened->property("visible").toBool());
        harness->l10n.setLanguage(AppLanguage::En);
    }

    // Each secondary window: its exact title, in front of the main window
    // and centred over it the first time, and closed by Escape.
    void secondaryWindows_data()
    {
        QTest::addColumn<QString>("menu"); // empty: it opens by itself
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
        QTest::newRow("software update") << "" << "" << "selfUpdateWindow"
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
        if (menu.isEmpty())
            QVERIFY(QMetaObject::invokeMethod(QmlHarness::find(main, name), "present"));
        else
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
            QVERIFY2(shown.contains(sceneRect(focus)), qPrintable(card->property("productId").toString()));
            const QString id = card->property("productId").toString();
            if (visited.isEmpty() || visited.last() != id)
                visited << id;
        }
        QCOMPARE(visited, cardOrder);
        QVERIFY(!cardOf(main->activeFocusItem()));

        // Back from the start of the window, on to the last card.
        child(main, "sidebarToggle")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(main, Qt::Key_Backtab);
        QCOMPARE(cardOf(main->activeFocusItem())->property("productId").toString(), cardOrder.last());
        QTest::keyClick(main, Qt::Key_Backtab);
        QCOMPARE(cardOf(main->activeFocusItem())->property("productId").toString(), cardOrder[cardOrder.size() - 2]);
    }

    // Cards scrolling under the pinned section header leave nothing behind:
    // the picture after scrolling step by step is the one drawn afresh.
    void scrollingLeavesNoTraces()
    {
        showTab(AppTab::Products);
        QQuickItem *list = child(main, "productList");
        for (int y = 0; y <= 250; y += 10) {
            list->setProperty("contentY", y);
            main->grabWindow();
        }
        const QRect area = sceneRect(list).toAlignedRect();
        const QImage scrolled = main->grabWindow().copy(area);
        const QSize size = main->size();
        main->resize(size + QSize(1, 0)); // a new size draws everything anew
        QTRY_COMPARE(main->contentItem()->width(), size.width() + 1.0);
        main->resize(size);
        QTRY_COMPARE(main->contentItem()->width(), qreal(size.width()));
        QVERIFY(scrolled == main->grabWindow().copy(area));
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
