#include "catalog/Product.h"
#include "support/Json.h"
#include "support/TestSandbox.h"

#include <QtTest>

Q_DECLARE_METATYPE(Product)

namespace {

// A catalogue of one element with the required keys, and `extra` ones.
QByteArray catalog(const QByteArray &extra = {})
{
    return json("[{'plugin_id':'p1','display_name':'Plug One','category':'fx'") + extra + "}]";
}

Product make(const QString &id, const QString &category, qint64 sortOrder = 0, qint64 categorySortOrder = 0, const QString &title = {})
{
    return {.id = id, .category = category, .sectionTitle = title, .sortOrder = sortOrder, .categorySortOrder = categorySortOrder};
}

} // namespace

class ProductTest : public QObject
{
    Q_OBJECT

private slots:
    // Null counts as absent; unknown keys are ignored.
    void decodesEveryKey()
    {
        const Product minimal{.id = "p1", .displayName = "Plug One", .category = "fx"};
        QCOMPARE(Product::decodeCatalog(catalog()), QList<Product>{minimal});
        QCOMPARE(Product::decodeCatalog(catalog(json(",'badge_label':null,'product_page_url':null,'install_formats':null,"
                                                     "'sort_order':null,'coupon_code':null,'future':{'x':[1,2]},'id':7"))),
                 QList<Product>{minimal});
        const Product full{.id = "p1", .displayName = "Plug One", .category = "fx", .badgeLabel = "FX", .sectionTitle = "Effects",
                           .supportURLString = "s", .installFormats = Product::FormatPaths{{"VST3", "/a"}, {"AU", "Library/b"}},
                           .sortOrder = 7, .categorySortOrder = std::numeric_limits<qint64>::min(), .couponCode = "SAVE",
                           .couponLabel = "20%", .couponURLString = "c"};
        QCOMPARE(Product::decodeCatalog(catalog(json(",'badge_label':'FX','section_title':'Effects','support_url':'s',"
                                                     "'install_formats':{'VST3':'/a','AU':'Library/b'},'sort_order':7.0,"
                                                     "'category_sort_order':-9223372036854775808,'coupon_code':'SAVE',"
                                                     "'coupon_label':'20%','coupon_url':'c'"))),
                 QList<Product>{full});
    }

    // One bad element rejects the whole document, however good the rest is.
    void rejectsWholeDocument_data()
    {
        QTest::addColumn<QByteArray>("document");
        const QByteArray good = catalog().chopped(1);
        auto withBad = [&](const QByteArray &bad) { return good + "," + bad + "]"; };
        QTest::newRow("missing plugin_id") << withBad(json("{'display_name':'A','category':'c'}"));
        QTest::newRow("null display_name") << withBad(json("{'plugin_id':'a','display_name':null,'category':'c'}"));
        QTest::newRow("sort_order as string") << catalog(json(",'sort_order':'3'"));
        QTest::newRow("fractional sort_order") << catalog(json(",'sort_order':1.5"));
        QTest::newRow("sort_order beyond 64 bits") << catalog(json(",'sort_order':9223372036854775808"));
        QTest::newRow("install_formats non-string member") << catalog(json(",'install_formats':{'AU':1}"));
        QTest::newRow("element not an object") << withBad("\"p2\"");
        QTest::newRow("top level object") << good.mid(1);
    }
    void rejectsWholeDocument()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!Product::decodeCatalog(document));
    }

    // Links the catalogue gives win when they parse as absolute URLs; the
    // maker's pages stand in for the rest.
    void links_data()
    {
        QTest::addColumn<Product>("product");
        QTest::addColumn<QUrl>("productPage");
        QTest::addColumn<QUrl>("support");
        const QUrl supportFallback("https://www.quillmarsh.example/en/support");
        QTest::newRow("given") << Product{.id = "abc", .productPageURLString = "https://a.example/p", .supportURLString = "mailto:s@a.example"}
                               << QUrl("https://a.example/p") << QUrl("mailto:s@a.example");
        QTest::newRow("empty or not a url") << Product{.id = "abc", .productPageURLString = "", .supportURLString = "no scheme"}
                                            << QUrl("https://quillmarsh.example/en/abc") << supportFallback;
        QTest::newRow("id needing escapes") << Product{.id = "a b/c?d#é"} << QUrl("https://quillmarsh.example/en/a%20b%2Fc%3Fd%23%C3%A9")
                                            << supportFallback;
    }
    void links()
    {
        QFETCH(Product, product);
        QTEST(product.productPageURL(), "productPage");
        QTEST(product.supportURL(), "support");
    }

    // Sections in the order of their first product's category key, equal
    // keys in order of appearance; one section per category, whatever the
    // titles; the title from the first product; products stably by sort_order.
    void sections_data()
    {
        QTest::addColumn<QList<Product>>("catalog");
        QTest::addColumn<QStringList>("expected"); // category/title:ids
        QTest::newRow("title from the first, stable sort")
            << QList<Product>{make("A", "fx", 5, 0, "Effects"), make("C", "fx", 1, 0, ""), make("B", "fx", 1)} << QStringList{"fx/Effects:CBA"};
        QTest::newRow("first product's category order")
            << QList<Product>{make("f1", "fx", 0, 2, "FX"), make("i1", "inst", 0, 1, "Inst"), make("f2", "fx", 0, -10, "ignored"), make("i2", "inst", 0, 99)}
            << QStringList{"inst/Inst:i1i2", "fx/FX:f1f2"};
        QTest::newRow("equal keys keep first appearance")
            << QList<Product>{make("z1", "z", 0, 0, "Z"), make("a1", "a", 0, 0, "A"), make("a2", "a")} << QStringList{"z/Z:z1", "a/A:a1a2"};
        QTest::newRow("same title, two sections")
            << QList<Product>{make("1", "a", 0, 0, "Same"), make("2", "b", 0, 1, "Same")} << QStringList{"a/Same:1", "b/Same:2"};
    }
    void sections()
    {
        QFETCH(QList<Product>, catalog);
        QStringList described;
        for (const ProductSection &section : Product::sections(catalog)) {
            described << section.id + '/' + section.title + ':';
            for (const Product &product : section.products)
                described.last() += product.id;
        }
        QTEST(described, "expected");
    }
};

HUB_TEST_MAIN(ProductTest)
#include "tst_product.moc"
