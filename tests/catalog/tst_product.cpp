#include "catalog/Product.h"
#include "support/Json.h"
#include "support/TestSandbox.h"

#include <QtTest>

class ProductDecodingTest : public QObject
{
    Q_OBJECT

    static QByteArray minimal(const QByteArray &extra = {})
    {
        return json("{'plugin_id':'p1','display_name':'Plug One','category':'fx'") + extra + "}";
    }

private slots:
    void requiredAndOptionalKeys()
    {
        const auto minimalOnly = Product::decodeCatalog("[" + minimal() + "]");
        QVERIFY(minimalOnly);
        const Product &m = minimalOnly->first();
        QCOMPARE(m.id + m.displayName + m.category, "p1Plug Onefx");
        QCOMPARE(m.sortOrder, 0);
        QVERIFY(!m.productPageURLString && !m.installFormats && !m.couponCode);

        const auto products = Product::decodeCatalog(json("[{"
            "'plugin_id':'p','display_name':'P','category':'c','badge_label':'FX',"
            "'install_formats':{'VST3':'/a','AU':'Library/b'},'sort_order':7.0,"
            "'category_sort_order':-9223372036854775808,'coupon_code':'SAVE'}]"));
        QVERIFY(products);
        const Product &p = products->first();
        QCOMPARE(p.badgeLabel, "FX");
        QCOMPARE(p.installFormats, (Product::FormatPaths{{"VST3", "/a"}, {"AU", "Library/b"}}));
        QCOMPARE(p.sortOrder, 7); // a whole number written with a point
        QCOMPARE(p.categorySortOrder, std::numeric_limits<qint64>::min());
        QCOMPARE(p.couponCode, QString("SAVE"));
    }

    void nullCountsAsAbsent_data()
    {
        QTest::addColumn<QByteArray>("extra");
        for (const char *key : {"badge_label", "product_page_url", "install_formats", "sort_order", "coupon_code"})
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
        QTest::newRow("null display_name") << withBad(json("{'plugin_id':'a','display_name':null,'category':'c'}"));
        QTest::newRow("sort_order as string") << withBad(minimal(json(",'sort_order':'3'")));
        QTest::newRow("fractional sort_order") << withBad(minimal(json(",'sort_order':1.5")));
        QTest::newRow("sort_order beyond 64 bits") << withBad(minimal(json(",'sort_order':9223372036854775808")));
        QTest::newRow("install_formats non-string member") << withBad(minimal(json(",'install_formats':{'AU':1}")));
        QTest::newRow("element not an object") << withBad("\"p2\"");
        QTest::newRow("top level object") << good;
    }
    void rejectsWholeDocument()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!Product::decodeCatalog(document));
    }

    void links_data()
    {
        QTest::addColumn<QByteArray>("extra");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QUrl>("productPage");
        QTest::addColumn<QUrl>("support");
        const QUrl supportFallback("https://www.quillmarsh.example/en/support");
        QTest::newRow("absent") << QByteArray() << "abc" << QUrl("https://quillmarsh.example/en/abc") << supportFallback;
        QTest::newRow("given") << QByteArray(json(",'product_page_url':'https://a.example/p','support_url':'mailto:s@a.example'"))
                               << "abc" << QUrl("https://a.example/p") << QUrl("mailto:s@a.example");
        QTest::newRow("empty or not a url") << QByteArray(json(",'product_page_url':'','support_url':'no scheme'"))
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
    }
};

HUB_TEST_MAIN(ProductDecodingTest)
#include "tst_productdecoding.moc"
