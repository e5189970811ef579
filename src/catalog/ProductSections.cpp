#include "Product.h"

#include <QHash>

#include <algorithm>

QList<ProductSection> Product::sections(const QList<Product> &products)
{
    struct Group {
        qint64 sortKey = 0;
        ProductSection section;
    };

    // Groups in the order their category first appears, so equal keys keep
    // a stable, catalogue-given order.
    QList<Group> groups;
    QHash<QString, qsizetype> groupIndex;
    for (const Product &product : products) {
        auto found = groupIndex.constFind(product.category);
        if (found == groupIndex.constEnd()) {
            found = groupIndex.insert(product.category, groups.size());
            groups.append({product.categorySortOrder, {product.category, product.sectionTitle, {}}});
        }
        groups[*found].section.products.append(product);
    }

    std::stable_sort(groups.begin(), groups.end(),
                     [](const Group &a, const Group &b) { return a.sortKey < b.sortKey; });

    QList<ProductSection> sections;
    sections.reserve(groups.size());
    for (Group &group : groups) {
        std::stable_sort(group.section.products.begin(), group.section.products.end(),
                         [](const Product &a, const Product &b) { return a.sortOrder < b.sortOrder; });
        sections.append(std::move(group.section));
    }
    return sections;
}
