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

} // namespace

// The products tab against a real catalogue download, install probe and
// version feed.
class ProductListTest : public ViewFixture
{
    Q_OBJECT

    void load(const QJsonArray &products, const QJsonArray &feed = {})
    {
        serve(products, feed);
        QVERIFY(harness->refresh());
    }
    QQuickItem *view(QSize size = {900, 600}) { return ViewFixture::view("ProductListView", size); }

    static QQuickItem *cardOf(QQuickItem *root, const QString &productId)
    {
        for (QObject *card : QmlHarness::findAll(root, "productCard"))
            if (card->property("productId").toString() == productId)
                return qobject_cast<QQuickItem *>(card);
        return nullptr;
    }
    static bool hasDivider(QQuickItem *card) { return !visibleItems(card->parentItem(), "cardDivider").isEmpty(); }

private slots:
    void initTestCase() { QVERIFY(start()); }

    // No cache: empty and quiet, then the placeholder only while the first
    // download runs; once products are known, a download keeps them shown.
    void placeholderOnlyUntilProductsExist()
    {
        QQuickItem *root = view();
        QVERIFY(root);
        QQuickItem *placeholder = child(root, "loadingPlaceholder");
        QVERIFY(placeholder && !placeholder->isVisible());
        for (bool known : {false, true}) {
            service.setRoute(CatalogPath, Route{.body = fixtures::document({listed("a", "fx", "Effects", 0)}), .delay = 300ms});
            click(child(root, "refreshButton"));
            QVERIFY(harness->state.catalog()->isLoading());
            QCOMPARE(placeholder->isVisible(), !known);
            QCOMPARE(child(root, "productList")->isVisible(), known);
            QTRY_VERIFY(!harness->state.catalog()->isLoading());
            QVERIFY(!placeholder->isVisible());
            QTRY_VERIFY(cardOf(root, "a") && cardOf(root, "a")->isVisible());
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
        QCOMPARE(visibleItems(root, "cardDivider").size(), products.size() - sizes.size());
        for (int s = 0; s < sizes.size(); ++s)
            for (int i = 0; i < sizes[s]; ++i) {
                QQuickItem *card = cardOf(root, QString("s%1-%2").arg(s).arg(i));
                QVERIFY(card);
                QCOMPARE(hasDivider(card), i + 1 < sizes[s]);
            }
    }

    // The update count turns accent only when there is something to update.
    void summaryCounts_data()
    {
        QTest::addColumn<int>("updates");
        QTest::newRow("no updates") << 0;
        QTest::newRow("two updates") << 2;
    }
    void summaryCounts()
    {
        QFETCH(int, updates);
        QJsonArray catalogue, feed;
        for (int i = 0; i < 4; ++i) {
            const QString id = QString("sum-%1").arg(i);
            QJsonObject product = listed(id, "fx", "Effects", 0);
            product.insert("install_formats", QmlHarness::installBundles(id, {{"VST3", "1.0"}}));
            catalogue << product;
            feed << fixtures::version(id, i < updates ? "2.0" : "1.0");
        }
        load(catalogue, feed);
        QQuickItem *root = view();
        QVERIFY(root);
        QQuickItem *available = child(root, "summaryUpdates");
        QCOMPARE(textOf(child(root, "summaryTotal"), "summaryValue"), QString("4"));
        QCOMPARE(textOf(available, "summaryValue"), QString::number(updates));
        QVERIFY(sameColor(colorOf(child(available, "summaryValue")),
                          harness->hubColor(updates > 0 ? "accent" : "textSecondary")));
    }

    // Sections are kept apart by category even when titles are equal; an
    // empty title keeps its row.
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
        QCOMPARE(headers["cat-b"]->property("title").toString(), title);
        QCOMPARE(headers["cat-a"]->height(), headers["cat-c"]->height());
        const QList<qreal> ys{sceneY(headers["cat-a"]), sceneY(cardOf(root, "a2")), sceneY(headers["cat-b"]),
                              sceneY(cardOf(root, "b1")), sceneY(headers["cat-c"])};
        QVERIFY2(std::is_sorted(ys.cbegin(), ys.cend()), qPrintable(QDebug::toString(ys)));
    }

    // With 2,000 products, only the cards on screen and in the cache buffer
    // exist, wherever the list is scrolled to.
    void onlyVisibleCardsAreCreated()
    {
        QJsonArray products;
        for (int i = 0; i < 2000; ++i)
            products << listed(QString("bulk-%1").arg(i, 4, 10, QChar('0')), QString("cat%1").arg(i / 100),
                               QString("Category %1").arg(i / 100), i / 100);
        load(products);
        QQuickItem *root = view({900, 600});
        QQuickItem *list = root ? child(root, "productList") : nullptr;
        QVERIFY(list);
        // Nothing has been destroyed yet, so what exists is all that was created.
        const QList<QObject *> created = QmlHarness::findAll(root, "productCard");
        QVERIFY(!created.isEmpty());
        const qreal rowHeight = qobject_cast<QQuickItem *>(created.first())->height();
        QVERIFY(rowHeight >= 50);
        const int bound = int(std::ceil((list->height() + 2 * list->property("cacheBuffer").toInt()) / rowHeight)) + 4;
        QVERIFY2(bound < 50, qPrintable(QString::number(bound)));
        QVERIFY2(created.size() <= bound, qPrintable(QString("%1 cards for at most %2").arg(created.size()).arg(bound)));

        QVERIFY(QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, 1050), Q_ARG(int, 0)));
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(QmlHarness::findAll(root, "productCard").size() <= bound);
        QVERIFY(cardOf(root, "bulk-1050") && cardOf(root, "bulk-1050")->isVisible());
        QVERIFY(!cardOf(root, "bulk-0000"));
    }
};

HUB_QUICK_TEST_MAIN(ProductListTest)
#include "tst_productlist.moc"
