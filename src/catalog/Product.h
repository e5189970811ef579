#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QUrl>

#include <optional>

struct ProductSection;

// One entry of the maker's catalogue. Immutable once decoded; `id` is the
// catalogue's plugin_id and identifies the product everywhere.
struct Product
{
    using FormatPaths = QMap<QString, QString>;

    QString id;
    QString displayName;
    QString category;
    QString badgeLabel;
    QString sectionTitle;
    std::optional<QString> productPageURLString;
    std::optional<QString> supportURLString;
    std::optional<FormatPaths> installFormats;
    qint64 sortOrder = 0;
    qint64 categorySortOrder = 0;
    std::optional<QString> couponCode;
    std::optional<QString> couponLabel;
    std::optional<QString> couponURLString;

    // The catalogue document: a JSON array of product objects. No value
    // when anything in it breaks the format; an empty array is a valid,
    // empty catalogue.
    static std::optional<QList<Product>> decodeCatalog(const QByteArray &json);

    // The product's page, or the maker's page for its id.
    QUrl productPageURL() const;
    // The product's support page, or the maker's support page.
    QUrl supportURL() const;

    // Groups a catalogue into its ordered sections.
    static QList<ProductSection> sections(const QList<Product> &products);

    // Install paths made absolute against the home directory.
    FormatPaths resolvedPaths(const QString &homePath) const;

    bool hasCoupon() const { return couponCode.has_value(); }
    QString couponCodeText() const { return couponCode.value_or(QString()); }
    bool hasCouponLabel() const { return couponLabel.has_value(); }
    QString couponLabelText() const { return couponLabel.value_or(QString()); }
    // The campaign page when it forms a usable link; empty otherwise.
    QUrl couponURL() const;

    friend bool operator==(const Product &, const Product &) = default;
};

// Products of one category, under the title of its first product.
struct ProductSection
{
    // The category: unique among sections, unlike titles.
    QString id;
    QString title;
    QList<Product> products;

    friend bool operator==(const ProductSection &, const ProductSection &) = default;
};

namespace links {

// A link text that the hub will open: an absolute URL that parses strictly.
std::optional<QUrl> usableUrl(const std::optional<QString> &text);

} // namespace links
