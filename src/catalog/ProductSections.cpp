#include "Product.h"

#include <QHash>

#include <algorithm>

QList<ProductSection> Product::sections(const QList<Product> &products)
{
    // Members are sorted as (sort order, index) pairs and copied once, in
    // their final order, rather than moving whole products while sorting.
    struct Member {
        qint64 sortOrder;
        qsizetype index;
    };
    struct Group {
        qint64 sortKey = 0;
        QList<Member> members;
    };

    // Groups in the order their category first appears, so equal keys keep
    // a stable, catalogue-given order.
    QList<Group> groups;
    QHash<QString, qsizetype> groupIndex;
    for (qsizetype i = 0; i < products.size(); ++i) {
        const Product &product = products[i];
        auto found = groupIndex.constFind(product.category);
        if (found == groupIndex.constEnd()) {
            found = groupIndex.insert(product.category, groups.size());
            groups.append(Group{product.categorySortOrder, {}});
        }
        groups[*found].members.append(Member{product.sortOrder, i});
    }

    std::stable_sort(groups.begin(), groups.end(),
                     [](const Group &a, const Group &b) { return a.sortKey < b.sortKey; });

    QList<ProductSection> sections;
    sections.reserve(groups.size());
    for (Group &group : groups) {
        const Product &first = products[group.members.first().index];
        ProductSection section{first.category, first.sectionTitle, {}};
        std::stable_sort(group.members.begin(), group.members.end(),
                         [](const Member &a, const Member &b) { return a.sortOrder < b.sortOrder; });
        section.products.reserve(group.members.size());
        for (const Member &member : group.members)
            section.products.append(products[member.index]);
        sections.append(std::move(section));
    }
    return sections;
}
