#include "support/ViewFixture.h"

#include <QAbstractItemModelTester>

#include <cmath>

using namespace std::chrono_literals;
using namespace quick;
using VersionMap = QMap<QString, QString>;

namespace {

// A product of `category` under `title`, its order fixed by `rank`.
QJsonObject listed(const QString &id, const QString &category, const QString &title, int rank)
{
    QJsonObject product = fixtures::product(id, {}, category);
    product.insert("section_title", title);
    product.insert("category_sort_order", rank);
    return product;
}

QJsonObject installed(const QString &id, const VersionMap &formatVersions)
{
    return fixtures::product(id, QmlHarness::installBundles(id, formatVersions));
}

} // namespace

// The products tab, open while a real catalogue download, install probe,
// version feed and installer download change what it shows.
class ProductListTest : public ViewFixture
{
    Q_OBJECT

    void load(const QJsonArray &products, const QJsonArray &feed = {})
    {
        serve(products, feed);
        QVERIFY(harness->refresh());
    }
    QQuickItem *view(QSize size = {900, 600}) { return ViewFixture::view("ProductListView", size); }

    // The card showing the product (fixtures name a product by its id in capitals).
    static QQuickItem *cardOf(QQuickItem *root, const QString &productId)
    {
        for (QObject *card : QmlHarness::findAll(root, "productCard"))
            if (textOf(card, "productName") == productId.toUpper())
                return qobject_cast<QQuickItem *>(card);
        return nullptr;
    }
    static bool hasDivider(QQuickItem *card) { return !visibleItems(card->parentItem(), "cardDivider").isEmpty(); }

private slots:
    void initTestCase()
    {
        QVERIFY(start());
        new QAbstractItemModelTester(&harness->productList, QAbstractItemModelTester::FailureReportingMode::QtTest, this);
    }
    void init()
    {
        harness->l10n.setLanguage(AppLanguage::En);
        harness->host.urlOpener.opened.clear();
    }

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

    // One open list through a product's life: installed, an update
    // published, downloaded, the language switched, the update installed.
    void openListFollowsTheEngine()
    {
        QQuickItem *root = view();
        QVERIFY(root);
        // Looked up afresh each time: a new catalogue may rebuild the rows.
        const auto card = [root](const char *part) { return child(cardOf(root, "live"), part); };
        const auto badged = [root] { return shown(cardOf(root, "live"), "updateBadge"); };
        const QString url = service.url("/files/live.deb").toString();
        service.setRoute("/files/live.deb", Route{.body = QByteArray(400'000, 'x'), .bytesPerSecond = 500'000});
        load({installed("live", {{"VST3", "1.0"}})});
        QTRY_VERIFY(cardOf(root, "live"));
        QCOMPARE(accessibleName(card("stateBadge")), "Installed");
        QCOMPARE(accessibleName(card("actionButton")), "Support");
        QCOMPARE(card("versionLine")->property("text").toString(), "v1.0");
        QVERIFY(!badged());

        QJsonObject record = fixtures::version("live", "2.0", url);
        record.insert("release_notes", "<b>Fixed</b> clicks");
        load({installed("live", {{"VST3", "1.0"}})}, {record});
        QTRY_VERIFY(badged());
        // The notes as written, markup and all.
        QCOMPARE(QmlHarness::find(card("updateBadge"), "releaseNotesTip")->property("text").toString(), "<b>Fixed</b> clicks");
        QTRY_COMPARE(accessibleName(card("actionButton")), "Update");
        click(card("actionButton"));
        QTRY_COMPARE(card("actionButton")->property("text").toString(), "...");
        QVERIFY(!card("actionButton")->isEnabled());
        QTRY_VERIFY(QmlHarness::find(card("actionButton"), "progressTip")->property("text").toString().contains(" of 0.4 MB"));
        QTRY_VERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
        QTRY_VERIFY(card("actionButton")->isEnabled());
        QCOMPARE(harness->host.revealer.revealed.size(), 1);

        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(accessibleName(card("stateBadge")), "インストール済");
        QCOMPARE(accessibleName(card("actionButton")), "アップデート");

        load({installed("live", {{"VST3", "2.0"}})}, {fixtures::version("live", "2.0", url)});
        QTRY_COMPARE(card("versionLine")->property("text").toString(), "v2.0");
        QVERIFY(!badged());
        QTRY_COMPARE(accessibleName(card("actionButton")), "サポート");
    }

    // The state and the command of a product with nothing to update, and
    // where the command leads.
    void commandsOpenTheirPages_data()
    {
        QTest::addColumn<bool>("isInstalled");
        QTest::addColumn<QStringList>("names"); // state, command
        QTest::addColumn<QString>("opens");
        QTest::newRow("installed") << true << QStringList{"Installed", "Support"} << "https://www.quillmarsh.example/en/support";
        QTest::newRow("not installed") << false << QStringList{"Not Installed", "Learn More"} << "https://quillmarsh.example/en/cmd";
    }
    void commandsOpenTheirPages()
    {
        QFETCH(bool, isInstalled);
        QFETCH(QStringList, names);
        QFETCH(QString, opens);
        load({installed("cmd", isInstalled ? VersionMap{{"VST3", "1.0"}} : VersionMap{})}, {fixtures::version("cmd", "1.0")});
        QQuickItem *card = cardOf(view(), "cmd");
        QVERIFY(card);
        QCOMPARE(accessibleName(child(card, "stateBadge")), names[0]);
        QCOMPARE(accessibleName(child(card, "actionButton")), names[1]);
        click(child(card, "actionButton"));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
    }

    void couponBadge_data()
    {
        QTest::addColumn<QJsonObject>("coupon");
        QTest::addColumn<QString>("label"); // "" = no badge
        QTest::addColumn<QString>("opens");
        const QString page = "https://quillmarsh.example/en/c";
        QTest::newRow("no coupon") << QJsonObject{} << "" << "";
        QTest::newRow("label, campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_label", "20% OFF"}, {"coupon_url", page + "/spring"}}
                                              << "20% OFF" << page + "/spring";
        QTest::newRow("broken campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_url", "spring sale"}}
                                              << "Coupon Active" << page;
    }
    void couponBadge()
    {
        QFETCH(QJsonObject, coupon);
        QFETCH(QString, label);
        QFETCH(QString, opens);
        QJsonObject product = fixtures::product("c");
        for (auto it = coupon.constBegin(); it != coupon.constEnd(); ++it)
            product.insert(it.key(), it.value());
        load({product});
        QQuickItem *card = cardOf(view(), "c");
        QVERIFY(card);
        QCOMPARE(shown(card, "couponBadge"), !label.isEmpty());
        if (label.isEmpty())
            return;
        QCOMPARE(textOf(card, "couponLabel"), label);
        click(child(card, "couponBadge"));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
    }

    // The tile shows whole grapheme clusters; every badge shows beside a name.
    void nameRow()
    {
        QJsonObject product = installed("n", {{"VST3", "1.0"}});
        product.insert("display_name", "🇯🇵 Koto");
        product.insert("coupon_code", "X");
        load({product}, {fixtures::version("n", "2.0")});
        QQuickItem *card = child(view(), "productCard");
        QVERIFY(card);
        QCOMPARE(textOf(card, "initialsText"), QString("🇯🇵 "));
        for (const char *part : {"categoryBadge", "updateBadge", "couponBadge"})
            QVERIFY2(shown(card, part), part);
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
