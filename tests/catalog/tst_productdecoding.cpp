#include "catalog/Product.h"
#include "support/Json.h"
#include "support/TestSandbox.h"

#include <QSet>
#include <QtTest>

class ProductDecodingTest : public QObject
{
    Q_OBJECT

    static QByteArray minimal(const QByteArray &extra = {})
    {
        return json("{'plugin_id':'p1','display_name':'Plug One','category':'fx'") + extra + "}";
    }

private slots:
    void minimalElementTakesDefaults()
    {
        const auto products = Product::decodeCatalog("[" + minimal() + "]");
        QVERIFY(products);
        QCOMPARE(products->size(), 1);
        const Product &p = products->first();
        QCOMPARE(p.id, "p1");
        QCOMPARE(p.displayName, "Plug One");
        QCOMPARE(p.category, "fx");
        QCOMPARE(p.badgeLabel, QString());
        QCOMPARE(p.sectionTitle, QString());
        QCOMPARE(p.sortOrder, 0);
        QCOMPARE(p.categorySortOrder, 0);
        QVERIFY(!p.productPageURLString && !p.supportURLString && !p.installFormats);
        QVERIFY(!p.couponCode && !p.couponLabel && !p.couponURLString);
    }

    void fullElementKeepsEveryField()
    {
        const auto products = Product::decodeCatalog(json("[{"
            "'plugin_id':'p','display_name':'P','category':'c','badge_label':'FX',"
            "'section_title':'Effects','product_page_url':'https://x.example/p',"
            "'support_url':'https://x.example/s','install_formats':{'VST3':'/a','AU':'Library/b'},"
            "'sort_order':-3,'category_sort_order':9223372036854775807,"
            "'coupon_code':'SAVE','coupon_label':'20% off','coupon_url':'https://x.example/c'}]"));
        QVERIFY(products);
        const Product &p = products->first();
        QCOMPARE(p.badgeLabel, "FX");
        QCOMPARE(p.sectionTitle, "Effects");
        QCOMPARE(p.productPageURLString, QString("https://x.example/p"));
        QCOMPARE(p.installFormats, (Product::FormatPaths{{"VST3", "/a"}, {"AU", "Library/b"}}));
        QCOMPARE(p.sortOrder, -3);
        QCOMPARE(p.categorySortOrder, std::numeric_limits<qint64>::max());
        QCOMPARE(p.couponCode, QString("SAVE"));
        QCOMPARE(p.couponLabel, QString("20% off"));
        QCOMPARE(p.couponURLString, QString("https://x.example/c"));
    }

    void nullCountsAsAbsent_data()
    {
        QTest::addColumn<QByteArray>("extra");
        for (const char *key : {"badge_label", "section_title", "product_page_url", "support_url",
                                "install_formats", "sort_order", "category_sort_order",
                                "coupon_code", "coupon_label", "coupon_url"})
            QTest::newRow(key) << (QByteArray(",\"") + key + "\":null");
        QTest::newRow("unknown keys") << QByteArray(json(",'future':{'x':[1,2]},'id':7"));
    }
    void nullCountsAsAbsent()
    {
        QFETCH(QByteArray, extra);
        const auto withExtra = Product::decodeCatalog("[" + minimal(extra) + "]");
        QVERIFY(withExtra);
        QCOMPARE(*withExtra, *Product::decodeCatalog("[" + minimal() + "]"));
    }

    // One bad element rejects the whole document, however good the rest is.
    void rejectsWholeDocument_data()
    {
        QTest::addColumn<QByteArray>("document");
        const QByteArray good = minimal();
        auto withBad = [&](const QByteArray &bad) { return "[" + good + "," + bad + "]"; };
        QTest::newRow("missing plugin_id") << withBad(json("{'display_name':'A','category':'c'}"));
        QTest::newRow("missing category") << withBad(json("{'plugin_id':'a','display_name':'A'}"));
        QTest::newRow("null display_name") << withBad(json("{'plugin_id':'a','display_name':null,'category':'c'}"));
        QTest::newRow("numeric plugin_id") << withBad(json("{'plugin_id':5,'display_name':'A','category':'c'}"));
        QTest::newRow("sort_order as string") << withBad(minimal(json(",'sort_order':'3'")));
        QTest::newRow("fractional sort_order") << withBad(minimal(json(",'sort_order':1.5")));
        QTest::newRow("sort_order beyond 64 bits") << withBad(minimal(json(",'sort_order':9223372036854775808")));
        QTest::newRow("huge category_sort_order") << withBad(minimal(json(",'category_sort_order':1e300")));
        QTest::newRow("boolean badge_label") << withBad(minimal(json(",'badge_label':true")));
        QTest::newRow("install_formats array") << withBad(minimal(json(",'install_formats':['/a']")));
        QTest::newRow("install_formats non-string member") << withBad(minimal(json(",'install_formats':{'AU':1}")));
        QTest::newRow("install_formats null member") << withBad(minimal(json(",'install_formats':{'AU':null}")));
        QTest::newRow("coupon_url number") << withBad(minimal(json(",'coupon_url':3")));
        QTest::newRow("element not an object") << withBad("\"p2\"");
        QTest::newRow("top level object") << good;
        QTest::newRow("not json") << QByteArray("<html>");
        QTest::newRow("empty body") << QByteArray();
        QTest::newRow("truncated") << QByteArray("[" + good);
    }
    void rejectsWholeDocument()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!Product::decodeCatalog(document));
    }

    void wholeNumbersAreAccepted_data()
    {
        QTest::addColumn<QByteArray>("literal");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("lowest") << QByteArray("-9223372036854775808") << std::numeric_limits<qint64>::min();
        QTest::newRow("beyond double precision") << QByteArray("9007199254740993") << qint64(9007199254740993);
        QTest::newRow("written with exponent") << QByteArray("2e3") << qint64(2000);
        QTest::newRow("written with point") << QByteArray("7.0") << qint64(7);
    }
    void wholeNumbersAreAccepted()
    {
        QFETCH(QByteArray, literal);
        QFETCH(qint64, expected);
        const auto products = Product::decodeCatalog("[" + minimal(",\"sort_order\":" + literal) + "]");
        QVERIFY(products);
        QCOMPARE(products->first().sortOrder, expected);
    }

    void emptyArrayIsAnEmptyCatalog()
    {
        const auto products = Product::decodeCatalog("[]");
        QVERIFY(products);
        QVERIFY(products->isEmpty());
    }

    void equalityAndHashCoverEveryField()
    {
        const QByteArray base = json("{'plugin_id':'p','display_name':'P','category':'c','install_formats':{'A':'/a'}}");
        const Product a = Product::decodeCatalog("[" + base + "]")->first();
        Product b = a;
        QCOMPARE(a, b);
        QCOMPARE(qHash(a), qHash(b));

        const QList<std::function<void(Product &)>> changes = {
            [](Product &p) { p.displayName += "x"; },
            [](Product &p) { p.badgeLabel = "B"; },
            [](Product &p) { p.sortOrder = 1; },
            [](Product &p) { p.couponCode = QString(); },     // present but empty differs from absent
            [](Product &p) { p.installFormats->insert("B", "/b"); },
            [](Product &p) { p.installFormats.reset(); },
            [](Product &p) { p.installFormats = Product::FormatPaths{}; },
        };
        QSet<size_t> hashes{qHash(a)};
        for (const auto &change : changes) {
            Product changed = a;
            change(changed);
            QVERIFY(changed != a);
            hashes.insert(qHash(changed));
        }
        QCOMPARE(hashes.size(), changes.size() + 1);
    }

    void links_data()
    {
        QTest::addColumn<QByteArray>("extra");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QUrl>("productPage");
        QTest::addColumn<QUrl>("support");
        const QUrl supportFallback("https://www.quillmarsh.example/en/support");
        QTest::newRow("absent") << QByteArray() << "abc" << QUrl("https://quillmarsh.example/en/abc") << supportFallback;
        QTest::newRow("empty") << QByteArray(json(",'product_page_url':'','support_url':''")) << "abc"
                               << QUrl("https://quillmarsh.example/en/abc") << supportFallback;
        QTest::newRow("given") << QByteArray(json(",'product_page_url':'https://a.example/p','support_url':'mailto:s@a.example'"))
                               << "abc" << QUrl("https://a.example/p") << QUrl("mailto:s@a.example");
        QTest::newRow("not a url") << QByteArray(json(",'product_page_url':'http://exa mple/ p','support_url':'no scheme'"))
                                   << "abc" << QUrl("https://quillmarsh.example/en/abc") << supportFallback;
        QTest::newRow("id needing escapes") << QByteArray() << "a b/c?d#é"
                                            << QUrl("https://quillmarsh.example/en/a%20b%2Fc%3Fd%23%C3%A9") << supportFallback;
    }
    void links()
    {
        QFETCH(QByteArray, extra);
        QFETCH(QString, id);
        const QByteArray element = "{\"plugin_id\":\"" + id.toUtf8() + json("','display_name':'D','category':'c'") + extra + "}";
        const auto products = Product::decodeCatalog("[" + element + "]");
        QVERIFY(products);
        QTEST(products->first().productPageURL(), "productPage");
        QTEST(products->first().supportURL(), "support");
        // The fallback keeps the id inside one path segment.
        if (products->first().productPageURL().host() == "quillmarsh.example")
            QCOMPARE(products->first().productPageURL().path(QUrl::FullyDecoded).section('/', 2), id);
    }
};

HUB_TEST_MAIN(ProductDecodingTest)
#include "tst_productdecoding.moc"
