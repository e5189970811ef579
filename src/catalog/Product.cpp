#include "Product.h"

#include "JsonDocument.h"

namespace {

const QString MakerSite = QStringLiteral("https://quillmarsh.example");
const QString SupportPage = QStringLiteral("https://www.quillmarsh.example/en/support");

Product decodeProduct(JsonFields &fields)
{
    Product product;
    product.id = fields.requiredString(QLatin1StringView("plugin_id"));
    product.displayName = fields.requiredString(QLatin1StringView("display_name"));
    product.category = fields.requiredString(QLatin1StringView("category"));
    product.badgeLabel = fields.optionalString(QLatin1StringView("badge_label")).value_or(QString());
    product.sectionTitle = fields.optionalString(QLatin1StringView("section_title")).value_or(QString());
    product.productPageURLString = fields.optionalString(QLatin1StringView("product_page_url"));
    product.supportURLString = fields.optionalString(QLatin1StringView("support_url"));
    product.installFormats = fields.optionalStringMap(QLatin1StringView("install_formats"));
    product.sortOrder = fields.optionalInteger(QLatin1StringView("sort_order"), 0);
    product.categorySortOrder = fields.optionalInteger(QLatin1StringView("category_sort_order"), 0);
    product.couponCode = fields.optionalString(QLatin1StringView("coupon_code"));
    product.couponLabel = fields.optionalString(QLatin1StringView("coupon_label"));
    product.couponURLString = fields.optionalString(QLatin1StringView("coupon_url"));
    return product;
}

} // namespace

std::optional<QList<Product>> Product::decodeCatalog(const QByteArray &json)
{
    return json::decodeArray<Product>(json, decodeProduct);
}

QUrl Product::productPageURL() const
{
    if (auto url = links::usableUrl(productPageURLString))
        return *url;
    // The id may hold anything; encoded, it stays one path segment.
    return QUrl(MakerSite + QStringLiteral("/en/") + QString::fromLatin1(QUrl::toPercentEncoding(id)));
}

QUrl Product::supportURL() const
{
    return links::usableUrl(supportURLString).value_or(QUrl(SupportPage));
}

QUrl Product::couponURL() const
{
    return links::usableUrl(couponURLString).value_or(QUrl());
}

namespace links {

std::optional<QUrl> usableUrl(const std::optional<QString> &text)
{
    if (!text || text->isEmpty())
        return std::nullopt;
    const QUrl url(*text, QUrl::StrictMode);
    if (!url.isValid() || url.isRelative())
        return std::nullopt;
    return url;
}

} // namespace links
