#include "support/Fixtures.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/QmlHarness.h"

#include <QAccessible>
#include <QCoroTask>
#include <QQmlComponent>
#include <QtTest>

#include <cmath>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;

namespace {

const QString CatalogPath = QStringLiteral("/api/hub/products");
const QString FeedPath = QStringLiteral("/api/plugin-versions");

QString home() { return TestSandbox::current().home(); }

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
    const QString id = product.value("plugin_id").toString();
    const QString path = QString("Plugins/%1/VST3.bundle").arg(id);
    plistwriter::writeBundle(home() + "/" + path, {{"CFBundleShortVersionString", version}}, plistwriter::Format::Xml);
    product.insert("install_formats", QJsonObject{{"VST3", path}});
    return product;
}

QQuickItem *child(QQuickItem *root, const QString &name)
{
    return qobject_cast<QQuickItem *>(QmlHarness::find(root, name));
}

QList<QQuickItem *> visibleItems(QQuickItem *root, const QString &name)
{
    QList<QQuickItem *> items;
    for (QObject *object : QmlHarness::findAll(root, name))
        if (auto *item = qobject_cast<QQuickItem *>(object); item && item->isVisible())
            items << item;
    return items;
}

QString textOf(QObject *root, const QString &name)
{
    QObject *part = QmlHarness::find(root, name);
    return part ? part->property("text").toString() : QStringLiteral("<missing %1>").arg(name);
}

bool sameColor(const QColor &a, const QColor &b)
{
    return qAbs(a.red() - b.red()) <= 1 && qAbs(a.green() - b.green()) <= 1 && qAbs(a.blue() - b.blue()) <= 1
        && qAbs(a.alpha() - b.alpha()) <= 1;
}

qreal sceneY(QQuickItem *item) { return item->mapToScene(QPointF()).y(); }

} // namespace

// The products tab against a real catalogue download, install probe and
// version feed.
class ProductListTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    std::unique_ptr<QmlHarness> harness;

    QColor palette(const char *name)
    {
        QQmlComponent component(&harness->engine);
        component.setData("import QtQuick\nimport Quillmarsh.Hub\nQtObject { property var colors: HubColors }", QUrl());
        std::unique_ptr<QObject> probe(component.create());
        return probe->property("colors").value<QObject *>()->property(name).value<QColor>();
    }

    void load(const QJsonArray &products, const QJsonArray &feed = {})
    {
        service.setRoute(CatalogPath, Route{.body = fixtures::document(products)});
        service.setRoute(FeedPath, Route{.body = fixtures::document(feed)});
        QVERIFY(QCoro::waitFor(harness->state.catalog()->fetchCatalog()).ok());
        harness->state.refreshAllStates();
        harness->state.updateManager()->rebuildStates();
        QVERIFY(QCoro::waitFor(harness->state.updateManager()->checkForUpdates()).ok());
        QCoreApplication::processEvents();
    }

    QQuickItem *view(QSize size = {900, 600})
    {
        QQuickItem *root = harness->create("ProductListView", {}, size);
        if (root)
            QCoreApplication::processEvents();
        return root;
    }

    static QQuickItem *cardOf(QQuickItem *root, const QString &productId)
    {
        for (QObject *card : QmlHarness::findAll(root, "productCard"))
            if (card->property("productId").toString() == productId)
                return qobject_cast<QQuickItem *>(card);
        return nullptr;
    }

    // The divider drawn under a card, if any.
    static QQuickItem *dividerUnder(QQuickItem *card)
    {
        QQuickItem *divider = child(card->parentItem(), "cardDivider");
        return divider && divider->isVisible() ? divider : nullptr;
    }

    static void click(QQuickItem *item)
    {
        QTest::mouseClick(item->window(), Qt::LeftButton, {},
                          item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint());
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        harness->state.updateManager()->bindCatalog(harness->state.catalog());
    }

    void init() { harness->l10n.setLanguage(AppLanguage::En); }

    // First start, no cache: empty and quiet, then the placeholder while
    // the first download runs, then the sections for good.
    void placeholderOnlyUntilProductsExist()
    {
        QQuickItem *root = view();
        QVERIFY(root);
        QQuickItem *placeholder = child(root, "loadingPlaceholder");
        QVERIFY(placeholder);
        QVERIFY(!placeholder->isVisible());
        QCOMPARE(textOf(child(root, "summaryTotal"), "summaryValue"), QString("0"));
        QVERIFY(QmlHarness::visibleTexts(child(root, "productList")).isEmpty());

        service.setRoute(CatalogPath, Route{.body = fixtures::document({listed("a", "fx", "Effects", 0)}), .delay = 300ms});
        click(child(root, "refreshButton"));
        QVERIFY(harness->state.catalog()->isLoading());
        QVERIFY(placeholder->isVisible());
        QVERIFY(!child(root, "productList")->isVisible());
        QCOMPARE(QmlHarness::visibleTexts(placeholder), QStringList{"Loading catalog…"});
        QVERIFY(placeholder->height() >= 240);
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(QmlHarness::visibleTexts(placeholder), QStringList{"カタログ読み込み中…"});

        QTRY_VERIFY(!harness->state.catalog()->isLoading());
        QVERIFY(!placeholder->isVisible());
        QTRY_VERIFY(cardOf(root, "a") && cardOf(root, "a")->isVisible());
        QCOMPARE(textOf(child(root, "summaryTotal"), "summaryValue"), QString("1"));

        // Once products are known, a running download keeps them on screen.
        service.setRoute(CatalogPath, Route{.body = fixtures::document({listed("a", "fx", "Effects", 0)}), .delay = 300ms});
        click(child(root, "refreshButton"));
        QVERIFY(harness->state.catalog()->isLoading());
        QVERIFY(!placeholder->isVisible());
        QVERIFY(cardOf(root, "a") && cardOf(root, "a")->isVisible());
        QTRY_VERIFY(!harness->state.catalog()->isLoading());
    }

    void dividersPerSection_data()
    {
        QTest::addColumn<QList<int>>("sizes");
        QTest::newRow("one card") << QList<int>{1};
        QTest::newRow("three cards") << QList<int>{3};
        QTest::newRow("mixed") << QList<int>{1, 3, 2};
    }
    void dividersPerSection()
    {
        QFETCH(QList<int>, sizes);
        QJsonArray products;
        for (int s = 0; s < sizes.size(); ++s)
            for (int i = 0; i < sizes[s]; ++i)
                products << listed(QString("s%1-%2").arg(s).arg(i), QString("cat%1").arg(s), QString("Section %1").arg(s), s);
        load(products);
        QQuickItem *root = view({900, 1000});
        QVERIFY(root);
        QCOMPARE(visibleItems(root, "productCard").size(), products.size());

        const QColor dividerColor = palette("divider");
        for (int s = 0; s < sizes.size(); ++s) {
            int dividers = 0;
            for (int i = 0; i < sizes[s]; ++i) {
                QQuickItem *card = cardOf(root, QString("s%1-%2").arg(s).arg(i));
                QVERIFY(card);
                QQuickItem *divider = dividerUnder(card);
                // Never under the last card of a section.
                QCOMPARE(divider != nullptr, i + 1 < sizes[s]);
                if (!divider)
                    continue;
                ++dividers;
                QCOMPARE(divider->height(), 1.0);
                QCOMPARE(divider->mapToItem(card, QPointF()).x(), 24.0);
                QCOMPARE(divider->width(), card->width() - 48);
                QVERIFY(sameColor(divider->property("color").value<QColor>(), dividerColor));
            }
            QCOMPARE(dividers, sizes[s] - 1);
        }
    }

    void summaryCounts_data()
    {
        QTest::addColumn<int>("products");
        QTest::addColumn<int>("updates");
        QTest::newRow("no updates") << 3 << 0;
        QTest::newRow("one update") << 3 << 1;
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
        QVERIFY(sameColor(child(total, "summaryValue")->property("color").value<QColor>(), palette("textSecondary")));
        QVERIFY(sameColor(child(available, "summaryValue")->property("color").value<QColor>(),
                          palette(updates > 0 ? "accent" : "textSecondary")));
        QCOMPARE(textOf(total, "summaryLabel"), QString("Total"));
        QCOMPARE(textOf(available, "summaryLabel"), QString("Updates"));
        // The two counts share the bar's width.
        QVERIFY(qAbs(total->width() - available->width()) <= 1);
        QVERIFY(total->width() > root->width() / 2 - 2);
        QCOMPARE(visibleItems(root, "updateBadge").size(), updates);
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
        QCOMPARE(headers["cat-a"]->property("title").toString(), title);
        QCOMPARE(headers["cat-b"]->property("title").toString(), title);
        QCOMPARE(headers["cat-c"]->property("title").toString(), QString("Other"));
        QCOMPARE(headers["cat-a"]->height(), headers["cat-c"]->height());
        QCOMPARE(headers["cat-b"]->height(), headers["cat-c"]->height());

        // Top to bottom: A's header, a1, a2, B's header, b1, C's header, c1.
        const QList<qreal> ys{sceneY(headers["cat-a"]), sceneY(cardOf(root, "a1")), sceneY(cardOf(root, "a2")),
                              sceneY(headers["cat-b"]), sceneY(cardOf(root, "b1")), sceneY(headers["cat-c"]),
                              sceneY(cardOf(root, "c1"))};
        QVERIFY2(std::is_sorted(ys.cbegin(), ys.cend()), qPrintable(QDebug::toString(ys)));
        QVERIFY(dividerUnder(cardOf(root, "a1")));
        QVERIFY(!dividerUnder(cardOf(root, "a2")));
        QVERIFY(!dividerUnder(cardOf(root, "b1")));
    }

    // A header kept across a download still shows its section's new title.
    void sectionTitleFollowsTheCatalogue()
    {
        load({listed("t1", "fx", "Old Title", 0), listed("t2", "eq", "Equalisers", 1)});
        QQuickItem *root = view();
        QVERIFY(root);
        auto titles = [&] {
            QMap<qreal, QString> byPosition;
            for (QQuickItem *header : visibleItems(root, "sectionHeader"))
                if (header->y() >= 0)
                    byPosition.insert(header->y(), header->property("title").toString());
            QStringList shown = byPosition.values();
            shown.removeDuplicates();
            return shown;
        };
        QCOMPARE(titles(), (QStringList{"Old Title", "Equalisers"}));
        load({listed("t1", "fx", "New Title", 0), listed("t2", "eq", "Equalisers", 1)});
        QCOMPARE(titles(), (QStringList{"New Title", "Equalisers"}));
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
        QQuickItem *root = view();
        QVERIFY(root);
        QQuickItem *card = cardOf(root, "u");
        QVERIFY(card);
        QQuickItem *button = child(card, "actionButton");
        QCOMPARE(button->property("text").toString(), QString("Update"));

        click(button);
        QTRY_COMPARE(button->property("text").toString(), QString("..."));
        QVERIFY(!button->isEnabled());
        QVERIFY(child(card, "updateBadge")->isVisible());
        QTRY_COMPARE(button->property("text").toString(), QString("Update"));
        QVERIFY(button->isEnabled());
        QCOMPARE(harness->host.revealer.revealed.last(), TestSandbox::current().downloads() + "/u.deb");
    }

    void languageSwitch()
    {
        QJsonObject product = listed("Kotoba Verb", "fx", "Effects", 0);
        product.insert("display_name", "Kotoba Verb");
        load({product});
        QQuickItem *root = view();
        QVERIFY(root);
        QObject *tooltip = QmlHarness::find(root, "refreshTooltip");
        auto fixedTexts = [&] {
            return QStringList{textOf(root, "listTitle"), tooltip->property("text").toString(),
                               textOf(child(root, "summaryTotal"), "summaryLabel"),
                               textOf(child(root, "summaryUpdates"), "summaryLabel")};
        };
        auto catalogueTexts = [&] {
            return QStringList{textOf(root, "sectionTitle"), textOf(root, "productName")};
        };
        QCOMPARE(fixedTexts(), (QStringList{"Products", "Refresh all statuses", "Total", "Updates"}));
        QCOMPARE(catalogueTexts(), (QStringList{"Effects", "Kotoba Verb"}));
        QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(child(root, "refreshButton"));
        QVERIFY(accessible);
        QCOMPARE(accessible->text(QAccessible::Name), QString("Refresh all statuses"));

        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(fixedTexts(), (QStringList{"製品一覧", "全ステータスを更新", "合計", "アップデート"}));
        QCOMPARE(catalogueTexts(), (QStringList{"Effects", "Kotoba Verb"}));
        QCOMPARE(accessible->text(QAccessible::Name), QString("全ステータスを更新"));
    }

    // With 2,000 products, only the cards on screen and in the cache
    // buffer exist, wherever the list is scrolled to.
    void onlyVisibleCardsAreCreated()
    {
        QJsonArray products;
        for (int i = 0; i < 2000; ++i)
            products << listed(QString("bulk-%1").arg(i, 4, 10, QChar('0')), QString("cat%1").arg(i / 100),
                               QString("Category %1").arg(i / 100), i / 100);
        load(products);
        QCOMPARE(harness->productList.count(), 2000);

        QQuickItem *root = view({900, 600});
        QVERIFY(root);
        auto *list = qobject_cast<QQuickItem *>(QmlHarness::find(root, "productList"));
        QVERIFY(list);
        // Nothing has been destroyed yet, so what exists is all that was created.
        const QList<QObject *> created = QmlHarness::findAll(root, "productCard");
        QVERIFY(!created.isEmpty());
        const qreal rowHeight = qobject_cast<QQuickItem *>(created.first())->height();
        QVERIFY(rowHeight >= 50);
        const int cacheBuffer = list->property("cacheBuffer").toInt();
        const int bound = int(std::ceil((list->height() + 2 * cacheBuffer) / rowHeight)) + 4;
        QVERIFY2(bound < 50, qPrintable(QString::number(bound)));
        QVERIFY2(created.size() <= bound, qPrintable(QString("%1 cards for at most %2").arg(created.size()).arg(bound)));
        QVERIFY(created.size() >= int(list->height() / rowHeight));

        QVERIFY(QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, 1000), Q_ARG(int, 1)));
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const QList<QObject *> live = QmlHarness::findAll(root, "productCard");
        QVERIFY2(live.size() <= bound, qPrintable(QString("%1 cards for at most %2").arg(live.size()).arg(bound)));
        QVERIFY(cardOf(root, "bulk-1000") && cardOf(root, "bulk-1000")->isVisible());
        QVERIFY(!cardOf(root, "bulk-0000"));
        QCOMPARE(textOf(child(root, "summaryTotal"), "summaryValue"), QString("2000"));
    }
};

HUB_QUICK_TEST_MAIN(ProductListTest)
#include "tst_productlist.moc"
