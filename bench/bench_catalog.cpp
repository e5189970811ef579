// Decoding a large catalogue and grouping it into sections.
// Run: build/bench/bench_catalog   (or bench/run-catalog)
#include "catalog/Product.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

namespace {

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
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

void BM_DecodeCatalog(benchmark::State &state)
{
    const QByteArray body = makeCatalog(int(state.range(0)));
    for (auto _ : state) {
        auto products = Product::decodeCatalog(body);
        benchmark::DoNotOptimize(products);
    }
    state.SetBytesProcessed(state.iterations() * body.size());
}

void BM_DecodeAndSection(benchmark::State &state)
{
    const QByteArray body = makeCatalog(int(state.range(0)));
    for (auto _ : state) {
        const auto products = Product::decodeCatalog(body);
        auto sections = Product::sections(*products);
        benchmark::DoNotOptimize(sections);
    }
}

void BM_Sections(benchmark::State &state)
{
    const auto products = *Product::decodeCatalog(makeCatalog(int(state.range(0))));
    for (auto _ : state) {
        auto sections = Product::sections(products);
        benchmark::DoNotOptimize(sections);
    }
}

} // namespace

BENCHMARK(BM_DecodeCatalog)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeAndSection)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sections)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
