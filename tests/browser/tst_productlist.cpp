#include "support/ViewFixture.h"

#include <cmath>

using namespace std::chrono_literals;
using namespace quick;

namespace {

// A product of `category` under `title`, its order fixed by `rank`.
QJsonObject listed(const QString &id, const QString &category, const QString &title, int rank)
{
    QJsonObject product = fixtures::product(id, {}, category);
    product.insert("section_title", title);
    product.insert("category_sort_order", rank);
    return product;
}

QJsonObject installedAt(QJsonObject product, const QString &version)
{
    product.insert("install_formats",
                   QmlHarness::installBundles(product.value("plugin_id").toString(), {{"VST3", version}}));
    return product;
}

} // namespace

// The products tab against a real catalogue download, install probe and
// version feed.
class ProductListTest : public ViewFixture
{
    Q_OBJECT

    void load(const QJsonArray &products, const QJsonArray &feed = {})
    {
        serve(products, feed);
        QVERIFY(harness->settle());
    }
    QQuickItem *view(QSize size = {900, 600}) { return ViewFixture::view("ProductListView", size); }

    static QQuickItem *cardOf(QQuickItem *root, const QString &productId)
    {
        for (QObject *card : QmlHarness::findAll(root, "productCard"))
            if (card->property("productId").toString() == productId)
                return qobject_cast<QQuickItem *>(card);
        return nullptr;
    }

    // The divider drawn under a card, if any.
    static QQuickItem *dividerUnder(QQuickItem *card) { return visibleItems(card->parentItem(), "cardDivider").value(0); }

private slots:
    void initTestCase() { QVERIFY(start()); }
    void init() { harness->l10n.setLanguage(AppLanguage::En); }

    // First start, no cache: empty and quiet, then the placeholder while
    // the first download runs, then the sections for good.
    void placeholderOnlyUntilProductsExist()
    {
        QQuickItem *root = view();
        QVERIFY(root);
        QQuickItem *placeholder = child(root, "loadingPlaceholder");
        QVERIFY(placeholder && !placeholder->isVisible());
        QCOMPARE(textOf(child(root, "summaryTotal"), "summaryValue"), QString("0"));
        QVERIFY(QmlHarness::visibleTexts(child(root, "productList")).isEmpty());

        for (bool known : {false, true}) {
            service.setRoute(CatalogPath, Route{.body = fixtures::document({listed("a", "fx", "Effects", 0)}), .delay = 300ms});
            click(child(root, "refreshButton"));
            QVERIFY(harness->state.catalog()->isLoading());
            // Once products are known, a running download keeps them on screen.
            QCOMPARE(placeholder->isVisible(), !known);
            QCOMPARE(child(root, "productList")->isVisible(), known);
            if (!known) {
                QCOMPARE(QmlHarness::visibleTexts(placeholder), QStringList{"Loading catalog…"});
                harness->l10n.setLanguage(AppLanguage::Ja);
                QCOMPARE(QmlHarness::visibleTexts(placeholder), QStringList{"カタログ読み込み中…"});
            }
            QTRY_VERIFY(!harness->state.catalog()->isLoading());
            QVERIFY(!placeholder->isVisible());
            QTRY_VERIFY(cardOf(root, "a") && cardOf(root, "a")->isVisible());
            QCOMPARE(textOf(child(root, "summaryTotal"), "summaryValue"), QString("1"));
        }
    }

    // Sections of one, three and two cards: a divider under every card but
    // the last of its section.
    void dividersOnlyWithinSections()
    {
        const QList<int> sizes{1, 3, 2};
        QJsonArray products;
        for (int s = 0; s < sizes.size(); ++s)
            for (int i = 0; i < sizes[s]; ++i)
                products << listed(QString("s%1-%2").arg(s).arg(i), QString("cat%1").arg(s), QString("Section %1").arg(s), s);
        load(products);
        QQuickItem *root = view({900, 1000});
        QVERIFY(root);
        QCOMPARE(visibleItems(root, "productCard").size(), products.size());
        QCOMPARE(visibleItems(root, "cardDivider").size(), products.size() - sizes.size());
        for (int s = 0; s < sizes.size(); ++s) {
            for (int i = 0; i < sizes[s]; ++i) {
                QQuickItem *card = cardOf(root, QString("s%1-%2").arg(s).arg(i));
                QVERIFY(card);
                QQuickItem *divider = dividerUnder(card);
                QCOMPARE(divider != nullptr, i + 1 < sizes[s]);
                if (divider)
                    QVERIFY(sameColor(colorOf(divider), harness->hubColor("divider")));
            }
        }
    }

    // The update count turns accent only when there is something to update.
    void summaryCounts_data()
    {
        QTest::addColumn<int>("products");
        QTest::addColumn<int>("updates");
        QTest::newRow("no updates") << 3 << 0;
        QTest::newRow("two updates") << 4 << 2;
    }
    void summaryCounts()
    {
        QFETCH(int, products);
        QFETCH(int, updates);
        QJsonArray catalogue;
        QJsonArray feed;
        for (int i = 0; i < products; ++i) {
            const QString id = QString("sum-%1").arg(i);
            catalogue << installedAt(listed(id, "fx", "Effects", 0), "1.0");
            feed << fixtures::version(id, i < updates ? "2.0" : "1.0");
        }
        load(catalogue, feed);
        QQuickItem *root = view();
        QVERIFY(root);
        QQuickItem *total = child(root, "summaryTotal");
        QQuickItem *available = child(root, "summaryUpdates");
        QCOMPARE(textOf(total, "summaryValue"), QString::number(products));
        QCOMPARE(textOf(available, "summaryValue"), QString::number(updates));
        QVERIFY(sameColor(colorOf(child(total, "summaryValue")), harness->hubColor("textSecondary")));
        QVERIFY(sameColor(colorOf(child(available, "summaryValue")),
                          harness->hubColor(updates > 0 ? "accent" : "textSecondary")));
        QCOMPARE(visibleItems(root, "updateBadge").size(), updates);
    }

    // Sections are kept apart by category even when titles are equal; an
    // empty title keeps its row. A header kept across a download shows its
    // section's new title.
    void sameTitleSectionsStayApart_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("named") << "Tools";
        QTest::newRow("untitled") << "";
    }
    void sameTitleSectionsStayApart()
    {
        QFETCH(QString, title);
        load({listed("a1", "cat-a", title, 0), listed("a2", "cat-a", title, 0), listed("b1", "cat-b", title, 1),
              listed("c1", "cat-c", "Other", 2)});
        QQuickItem *root = view({900, 1000});
        QVERIFY(root);

        QMap<QString, QQuickItem *> headers;
        for (QQuickItem *header : visibleItems(root, "sectionHeader"))
            if (header->y() >= 0 && !headers.contains(header->property("section").toString()))
                headers.insert(header->property("section").toString(), header);
        QCOMPARE(headers.keys(), (QStringList{"cat-a", "cat-b", "cat-c"}));
        QCOMPARE(headers["cat-a"]->property("title").toString(), title);
        QCOMPARE(headers["cat-b"]->property("title").toString(), title);
        QCOMPARE(headers["cat-a"]->height(), headers["cat-c"]->height());

        // Top to bottom: A's header, a1, a2, B's header, b1, C's header, c1.
        const QList<qreal> ys{sceneY(headers["cat-a"]), sceneY(cardOf(root, "a1")), sceneY(cardOf(root, "a2")),
                              sceneY(headers["cat-b"]), sceneY(cardOf(root, "b1")), sceneY(headers["cat-c"]),
                              sceneY(cardOf(root, "c1"))};
        QVERIFY2(std::is_sorted(ys.cbegin(), ys.cend()), qPrintable(QDebug::toString(ys)));
        QVERIFY(dividerUnder(cardOf(root, "a1")));
        QVERIFY(!dividerUnder(cardOf(root, "a2")));

        load({listed("a1", "cat-a", "Renamed", 0), listed("c1", "cat-c", "Other", 2)});
        QStringList titles;
        for (QQuickItem *header : visibleItems(root, "sectionHeader"))
            if (header->y() >= 0)
                titles << header->property("title").toString();
        titles.removeDuplicates();
        titles.sort();
        QCOMPARE(titles, (QStringList{"Other", "Renamed"}));
    }

    // Each click fetches and then probes the install states; clicks do not
    // wait for each other.
    void refreshFetchesThenProbes()
    {
        const QJsonArray products{listed("r1", "fx", "Effects", 0), listed("r2", "fx", "Effects", 0)};
        load(products);
        QQuickItem *root = view();
        QVERIFY(root);
        QVERIFY(cardOf(root, "r1"));
        QCOMPARE(textOf(cardOf(root, "r1"), "stateBadgeText"), QString("Not Installed"));

        // Installed since the last probe, and the catalogue now knows where.
        service.setRoute(CatalogPath, Route{.body = fixtures::document({installedAt(products[0].toObject(), "1.0"),
                                                                        products[1]}),
                                            .delay = 100ms});
        QSignalSpy stateWrites(&harness->state, &AppState::productStatesChanged);
        const int requestsBefore = service.requestCount(CatalogPath);
        QQuickItem *refresh = child(root, "refreshButton");
        click(refresh);
        click(refresh);
        QVERIFY(refresh->isEnabled());
        QTRY_COMPARE(service.requestCount(CatalogPath), requestsBefore + 2);
        // Two refreshes, each writing both entries twice (checking, then the result).
        QTRY_COMPARE(stateWrites.count(), 2 * 2 * 2);
        QTRY_COMPARE(textOf(cardOf(root, "r1"), "stateBadgeText"), QString("Installed"));

        // From the keyboard as well.
        refresh->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(refresh->window(), Qt::Key_Space);
        QTRY_COMPARE(service.requestCount(CatalogPath), requestsBefore + 3);
        QTRY_COMPARE(stateWrites.count(), 3 * 2 * 2);
    }

    // The real download path: the card turns into "..." while it runs and
    // back when the manager is done.
    void updateButtonFollowsTheDownload()
    {
        service.setRoute("/files/u.deb", Route{.body = "installer", .delay = 300ms});
        load({installedAt(listed("u", "fx", "Effects", 0), "1.0")},
             {fixtures::version("u", "2.0", service.url("/files/u.deb").toString())});
        QQuickItem *card = cardOf(view(), "u");
        QVERIFY(card);
        QQuickItem *button = child(card, "actionButton");
        QCOMPARE(button->property("text").toString(), QString("Update"));

        click(button);
        QTRY_COMPARE(button->property("text").toString(), QString("..."));
        QVERIFY(!button->isEnabled());
        QVERIFY(child(card, "updateBadge")->isVisible());
        QTRY_COMPARE(button->property("text").toString(), QString("Update"));
        QVERIFY(button->isEnabled());
    }

    void languageSwitch()
    {
        QJsonObject product = listed("Kotoba Verb", "fx", "Effects", 0);
        product.insert("display_name", "Kotoba Verb");
        load({product});
        QQuickItem *root = view();
        QVERIFY(root);
        QObject *tooltip = QmlHarness::find(root, "refreshTooltip");
        // The catalogue's own words (section, name) stay as served.
        auto texts = [&] {
            return QStringList{textOf(root, "listTitle"), tooltip->property("text").toString(),
                               accessibleName(child(root, "refreshButton")),
                               textOf(child(root, "summaryTotal"), "summaryLabel"),
                               textOf(child(root, "summaryUpdates"), "summaryLabel"),
                               textOf(root, "sectionTitle"), textOf(root, "productName")};
        };
        QCOMPARE(texts(), (QStringList{"Products", "Refresh all statuses", "Refresh all statuses", "Total", "Updates",
                                       "Effects", "Kotoba Verb"}));
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(texts(), (QStringList{"製品一覧", "全ステータスを更新", "全ステータスを更新", "合計", "アップデート",
                                       "Effects", "Kotoba Verb"}));
    }

    // With 2,000 products, only the cards on screen and in the cache
    // buffer exist, wherever the list is scrolled to; the section scrolled
    // into keeps its header pinned at the top.
    void onlyVisibleCardsAreCreated()
    {
        QJsonArray products;
        for (int i = 0; i < 2000; ++i)
            products << listed(QString("bulk-%1").arg(i, 4, 10, QChar('0')), QString("cat%1").arg(i / 100),
                               QString("Category %1").arg(i / 100), i / 100);
        load(products);
        QQuickItem *root = view({900, 600});
        QVERIFY(root);
        QCOMPARE(textOf(child(root, "summaryTotal"), "summaryValue"), QString("2000"));
        QQuickItem *list = child(root, "productList");
        QVERIFY(list);
        // Nothing has been destroyed yet, so what exists is all that was created.
        const QList<QObject *> created = QmlHarness::findAll(root, "productCard");
        QVERIFY(!created.isEmpty());
        const qreal rowHeight = qobject_cast<QQuickItem *>(created.first())->height();
        QVERIFY(rowHeight >= 50);
        const int bound = int(std::ceil((list->height() + 2 * list->property("cacheBuffer").toInt()) / rowHeight)) + 4;
        QVERIFY2(bound < 50, qPrintable(QString::number(bound)));
        QVERIFY2(created.size() <= bound, qPrintable(QString("%1 cards for at most %2").arg(created.size()).arg(bound)));
        QVERIFY(created.size() >= int(list->height() / rowHeight));

        // Halfway into "Category 10", at the top of the view.
        QVERIFY(QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, 1050), Q_ARG(int, 0)));
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const qsizetype live = QmlHarness::findAll(root, "productCard").size();
        QVERIFY2(live <= bound, qPrintable(QString("%1 cards for at most %2").arg(live).arg(bound)));
        QVERIFY(cardOf(root, "bulk-1050") && cardOf(root, "bulk-1050")->isVisible());
        QVERIFY(!cardOf(root, "bulk-0000"));
        auto pinnedTitle = [&] {
            for (QQuickItem *header : visibleItems(root, "sectionHeader"))
                if (qAbs(sceneY(header) - sceneY(list)) < 1)
                    return header->property("title").toString();
            return QString();
        };
        QTRY_COMPARE(pinnedTitle(), QString("Category 10"));
    }
};

HUB_QUICK_TEST_MAIN(ProductListTest)
#include "tst_productlist.moc"
