#include "catalog/Product.h"
#include "support/TestSandbox.h"

#include <QtTest>

namespace {

Product make(const QString &id, const QString &category, qint64 sortOrder = 0,
             qint64 categorySortOrder = 0, const QString &title = {})
{
    Product p;
    p.id = id;
    p.category = category;
    p.sortOrder = sortOrder;
    p.categorySortOrder = categorySortOrder;
    p.sectionTitle = title;
    return p;
}

// "title:id,id|title:id" for compact comparisons.
QString describe(const QList<ProductSection> &sections)
{
    QStringList parts;
    for (const ProductSection &s : sections) {
        QStringList ids;
        for (const Product &p : s.products)
            ids << p.id;
        parts << s.title + ':' + ids.join(',');
    }
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
        QTest::newRow("title from first in catalogue, stable sort by sort_order")
            << QList<Product>{make("A", "fx", 5, 0, "Effects"), make("C", "fx", 1, 0, ""), make("B", "fx", 1)} << "Effects:C,B,A";
        QTest::newRow("groups by first product's category order")
            << QList<Product>{make("f1", "fx", 0, 2, "FX"), make("i1", "inst", 0, 1, "Inst"),
                              make("f2", "fx", 0, -10, "ignored"), make("i2", "inst", 0, 99)}
            << "Inst:i1,i2|FX:f1,f2";
        QTest::newRow("equal category keys keep first appearance")
            << QList<Product>{make("z1", "z", 0, 0, "Z"), make("a1", "a", 0, 0, "A"), make("a2", "a")} << "Z:z1|A:a1,a2";
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
