#include "app/MainWindowFixture.h"

#include <QFontInfo>

using namespace quick;

// The main window's layout: its sizes, its text sizes, its scroll bars, and
// the parts of cards and table rows at the smallest size and the first.
class MainLayoutTest : public MainWindowFixture
{
    Q_OBJECT

    // The first card part, in view, that is squeezed to nothing, leaves its
    // card or covers another part; empty when there is none.
    QString cardProblems()
    {
        int cards = 0;
        for (QQuickItem *card : visibleItems(tabView(), "productCard")) {
            if (!sceneRect(child(main, "productList")).contains(sceneRect(card)))
                continue;
            ++cards;
            QList<QQuickItem *> parts;
            for (const char *name : {"productName", "categoryBadge", "updateBadge", "couponBadge", "stateBadge", "actionButton"})
                if (QQuickItem *part = child(card, name); part && part->isVisible())
                    parts << part;
            for (QQuickItem *part : parts) {
                const qreal least = qMin(part->implicitWidth(), part->objectName() == "productName" ? 40.0 : 20.0);
                if (part->width() < least || !sceneRect(card).contains(sceneRect(part)))
                    return part->objectName();
                for (QQuickItem *other : parts)
                    if (part != other && overlap(part, other))
                        return part->objectName() + " / " + other->objectName();
            }
        }
        return cards >= 4 ? QString() : QStringLiteral("%1 cards in view").arg(cards);
    }

    // The same for the table's rows: fixed version columns, a status that is
    // never cut, a button within its column.
    QString rowProblems()
    {
        const QRectF table = sceneRect(child(tabView(), "updateRows"));
        const QList<QQuickItem *> rows = visibleItems(tabView(), "updateRow") << child(tabView(), "hubSelfUpdateRow");
        for (QQuickItem *row : rows) {
            if (!table.contains(sceneRect(row)) || row->height() <= 0)
                continue;
            const QString name = textOf(row, "productName");
            if (child(row, "installedVersion")->width() != 100.0 || child(row, "latestVersion")->width() != 100.0)
                return name + ": version columns";
            QQuickItem *icon = child(row, "productIcon");
            if (child(row, "productName")->width() < 20 || (icon->isVisible() && overlap(child(row, "productName"), icon)))
                return name + ": name";
            QQuickItem *status = child(row, "statusText");
            QQuickItem *button = child(row, "updateButton");
            if (status->property("truncated").toBool())
                return name + ": status cut";
            if (button->isVisible()
                && (button->width() > 90 || overlap(status, button)
                    || !sceneRect(button).contains(sceneRect(child(button, "buttonLabel")))))
                return name + ": button";
        }
        return {};
    }

private slots:
    void initTestCase() { QVERIFY(open()); }

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

    // Texts are drawn at their sizes in logical pixels, whatever the screen.
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
        const QList<QQuickItem *> texts = visibleItems(tabView(), name);
        QVERIFY(!texts.isEmpty());
        QTEST(QFontInfo(texts.first()->property("font").value<QFont>()).pixelSize(), "pixels");
    }

    // Both tabs show their scroll bar while there is more than fits,
    // before any scrolling.
    void scrollBarsShowWithoutScrolling()
    {
        for (AppTab tab : {AppTab::Products, AppTab::Updates}) {
            showTab(tab);
            const QList<QQuickItem *> bars = visibleItems(tabView(), "scrollBar");
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
            harness->state.updateManager()->downloadAndReveal("a", installerUrl().toString());
            QVERIFY(harness->state.updateManager()->downloadingIds().contains("a"));
        }

        // Cards and rows beyond the edge are made while the loop is idle and
        // laid out on a later frame; a fault stays however long one waits.
        showTab(AppTab::Products);
        QTRY_COMPARE_WITH_TIMEOUT((main->grabWindow(), cardProblems()), QString(), 10000);
        showTab(AppTab::Updates);
        QTRY_COMPARE_WITH_TIMEOUT((main->grabWindow(), rowProblems()), QString(), 10000);
        QTRY_VERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
        main->resize(first);
        harness->l10n.setLanguage(AppLanguage::En);
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
        // The scroll bar is left out: it fades on its own clock after scrolling.
        const QRect area = sceneRect(list).toAlignedRect().adjusted(0, 0, -16, 0);
        const QImage scrolled = settledFrame().copy(area);
        const QSize size = main->size();
        main->resize(size + QSize(1, 0)); // a new size draws everything anew
        QTRY_COMPARE(main->contentItem()->width(), size.width() + 1.0);
        main->resize(size);
        QTRY_COMPARE(main->contentItem()->width(), qreal(size.width()));
        QVERIFY(scrolled == main->grabWindow().copy(area));
    }
};

HUB_QUICK_TEST_MAIN(MainLayoutTest)
#include "tst_mainlayout.moc"
