#include "catalog/Product.h"
#include "support/TestSandbox.h"

#include <QtTest>

namespace {

Product make(const QString &id, const QString &category, qint64 sortOrder = 0,
             qint64 categorySortOrder = 0, const QString &title = {})
{
    Product p;
    p.id = id;
    p.displayName = id;
    p.category = category;
    p.sortOrder = sortOrder;
    p.categorySortOrder = categorySortOrder;
    p.sectionTitle = title;
    return p;
}

QStringList ids(const ProductSection &section)
{
    QStringList result;
    for (const Product &p : section.products)
        result << p.id;
    return result;
}

// "title:id,id|title:id" for compact comparisons.
QString describe(const QList<ProductSection> &sections)
{
    QStringList parts;
    for (const ProductSection &s : sections)
        parts << s.title + ':' + ids(s).join(',');
    return parts.join('|');
}

} // namespace

class ProductSectionsTest : public QObject
{
    Q_OBJECT

private slots:
    void grouping_data()
    {
        QTest::addColumn<QList<Product>>("catalog");
        QTest::addColumn<QString>("expected");

        QTest::newRow("empty") << QList<Product>{} << QString();
        QTest::newRow("title from first in catalogue, sorted by sort_order")
            << QList<Product>{make("A", "fx", 5, 0, "Effects"), make("B", "fx", 1, 0, "")}
            << "Effects:B,A";
        QTest::newRow("groups by first product's category order")
            << QList<Product>{make("f1", "fx", 0, 2, "FX"), make("i1", "inst", 0, 1, "Inst"),
                              make("f2", "fx", 0, -10, "ignored"), make("i2", "inst", 0, 99)}
            << "Inst:i1,i2|FX:f1,f2";
        QTest::newRow("equal sort_order keeps catalogue order")
            << QList<Product>{make("c", "x", 1), make("a", "x", 1), make("b", "x", 0)}
            << ":b,c,a";
        QTest::newRow("equal category keys keep first appearance")
            << QList<Product>{make("z1", "z", 0, 0, "Z"), make("a1", "a", 0, 0, "A"),
                              make("m1", "m", 0, 0, "M"), make("a2", "a")}
            << "Z:z1|A:a1,a2|M:m1";
        QTest::newRow("category match is case-sensitive")
            << QList<Product>{make("1", "FX", 0, 0, "Upper"), make("2", "fx", 0, 0, "Lower")}
            << "Upper:1|Lower:2";
        QTest::newRow("extreme orders")
            << QList<Product>{make("max", "c", std::numeric_limits<qint64>::max()),
                              make("min", "c", std::numeric_limits<qint64>::min())}
            << ":min,max";
    }
    void grouping()
    {
        QFETCH(QList<Product>, catalog);
        QTEST(describe(Product::sections(catalog)), "expected");
    }

    void sectionsWithSameTitleStayApart()
    {
        const auto sections = Product::sections({make("1", "a", 0, 0, "Same"), make("2", "b", 0, 1, "Same")});
        QCOMPARE(sections.size(), 2);
        QCOMPARE(sections[0].title, sections[1].title);
        QVERIFY(sections[0].id != sections[1].id);
    }
};

HUB_TEST_MAIN(ProductSectionsTest)
#include "tst_productsections.moc"
