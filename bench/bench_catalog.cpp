// Decoding a catalogue of 10,000 products and grouping it into sections,
// beside a reference: the same bytes read into the same products with
// simdjson alone, checking nothing the parser does not need.
// Run: bench/run-catalog
#include "catalog/Product.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>
#include <simdjson.h>

namespace {

constexpr int Products = 10000;

QByteArray makeCatalog(int count)
{
    QJsonArray array;
    for (int i = 0; i < count; ++i) {
        const QString id = QStringLiteral("product-%1").arg(i);
        QJsonObject product{
            {"plugin_id", id},
            {"display_name", QStringLiteral("Product %1").arg(i)},
            {"category", QStringLiteral("category-%1").arg(i % 12)},
            {"badge_label", "FX"},
            {"section_title", QStringLiteral("Section %1").arg(i % 12)},
            {"product_page_url", "https://www.quillmarsh.example/en/" + id},
            {"install_formats", QJsonObject{{"VST3", "/usr/lib/vst3/" + id + ".vst3"},
                                            {"CLAP", ".clap/" + id + ".clap"}}},
            {"sort_order", (i * 7919) % 1000},
            {"category_sort_order", i % 12},
        };
        if (i % 5 == 0) {
            product.insert("coupon_code", "SAVE20");
            product.insert("coupon_label", "20% off");
        }
        array.append(product);
    }
    QByteArray body = QJsonDocument(array).toJson(QJsonDocument::Compact);
    // Exactly sized, like a cache file read from disk: both readers copy it
    // into a padded buffer.
    body.squeeze();
    return body;
}

QString text(simdjson::dom::element value)
{
    const std::string_view view = value;
    return QString::fromUtf8(view.data(), qsizetype(view.size()));
}

std::optional<QString> optionalText(simdjson::dom::object product, std::string_view key)
{
    simdjson::dom::element value;
    if (product[key].get(value) || value.is_null())
        return std::nullopt;
    return text(value);
}

qint64 optionalInteger(simdjson::dom::object product, std::string_view key)
{
    int64_t value = 0;
    return product[key].get(value) ? 0 : value;
}

QList<Product> referenceDecode(const QByteArray &body)
{
    simdjson::dom::parser parser;
    const simdjson::dom::array array = parser.parse(body.constData(), size_t(body.size()),
                                                    body.capacity() - body.size() < qsizetype(simdjson::SIMDJSON_PADDING));
    QList<Product> products;
    products.reserve(qsizetype(array.size()));
    for (const simdjson::dom::object object : array) {
        Product product;
        product.id = text(object["plugin_id"]);
        product.displayName = text(object["display_name"]);
        product.category = text(object["category"]);
        product.badgeLabel = optionalText(object, "badge_label").value_or(QString());
        product.sectionTitle = optionalText(object, "section_title").value_or(QString());
        product.productPageURLString = optionalText(object, "product_page_url");
        product.supportURLString = optionalText(object, "support_url");
        simdjson::dom::object formats;
        if (!object["install_formats"].get(formats)) {
            Product::FormatPaths paths;
            for (const auto [format, path] : formats)
                paths.insert(QString::fromUtf8(format.data(), qsizetype(format.size())), text(path));
            product.installFormats = std::move(paths);
        }
        product.sortOrder = optionalInteger(object, "sort_order");
        product.categorySortOrder = optionalInteger(object, "category_sort_order");
        product.couponCode = optionalText(object, "coupon_code");
        product.couponLabel = optionalText(object, "coupon_label");
        product.couponURLString = optionalText(object, "coupon_url");
        products.append(std::move(product));
    }
    return products;
}

void BM_DecodeAndSections(benchmark::State &state)
{
    const QByteArray body = makeCatalog(Products);
    for (auto _ : state) {
        const auto products = Product::decodeCatalog(body);
        auto sections = Product::sections(*products);
        benchmark::DoNotOptimize(sections);
    }
}

void BM_SimdjsonReference(benchmark::State &state)
{
    const QByteArray body = makeCatalog(Products);
    if (referenceDecode(body) != Product::decodeCatalog(body))
        state.SkipWithError("the reference reads other products than the hub");
    for (auto _ : state) {
        auto products = referenceDecode(body);
        benchmark::DoNotOptimize(products);
    }
}

} // namespace

BENCHMARK(BM_DecodeAndSections)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SimdjsonReference)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
