// Working out install states and installed versions for a catalogue of N
// products: AppState::refreshAllStates, then UpdateManager::rebuildStates.
// Each product has two install paths under HOME; every other one is
// installed, with an Info.plist (one XML, one binary) in both bundles.
// Run: build/bench/bench_states   (or bench/run-states)
#include "app/AppState.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <memory>

namespace {

QString bundlePath(int count, int index, const QString &format)
{
    return QStringLiteral("Catalogue-%1/%2/Product-%3.%2").arg(count).arg(format).arg(index);
}

QByteArray makeCatalog(int count)
{
    QJsonArray array;
    for (int i = 0; i < count; ++i) {
        const QString id = QStringLiteral("product-%1").arg(i);
        array.append(QJsonObject{
            {"plugin_id", id},
            {"display_name", QStringLiteral("Product %1").arg(i)},
            {"category", QStringLiteral("category-%1").arg(i % 12)},
            {"section_title", QStringLiteral("Section %1").arg(i % 12)},
            {"install_formats", QJsonObject{{"vst3", bundlePath(count, i, QStringLiteral("vst3"))},
                                            {"clap", bundlePath(count, i, QStringLiteral("clap"))}}},
            {"sort_order", i},
            {"category_sort_order", i % 12},
        });
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

// One catalogue of `count` products, its bundles on disk and an AppState
// that loaded it from the cache file, as the hub does at start.
struct Fixture
{
    TestHost host;
    std::unique_ptr<AppState> state;
    int notifications = 0;

    explicit Fixture(int count)
    {
        const QString home = TestSandbox::current().home();
        for (int i = 0; i < count; i += 2) {
            const QVariantMap info{{"CFBundleShortVersionString", QStringLiteral("1.%1").arg(i % 10)}};
            if (!plistwriter::writeBundle(home + u'/' + bundlePath(count, i, QStringLiteral("vst3")), info,
                                          plistwriter::Format::Xml)
                || !plistwriter::writeBundle(home + u'/' + bundlePath(count, i, QStringLiteral("clap")), info,
                                             plistwriter::Format::Binary))
                qFatal("cannot write the bundles of product %d", i);
        }
        const QString hubDirectory = host.paths.hubDirectory();
        QDir().mkpath(hubDirectory);
        QFile cache(hubDirectory + QStringLiteral("/product_catalog.json"));
        if (!cache.open(QIODevice::WriteOnly | QIODevice::Truncate) || cache.write(makeCatalog(count)) < 0)
            qFatal("cannot write the catalogue cache");
        cache.close();

        // Nothing is ever served: the catalogue comes from the cache.
        state = std::make_unique<AppState>(host.host, ServiceAddress(QUrl(QStringLiteral("http://127.0.0.1:9"))));
        if (state->catalog()->productCount() != count)
            qFatal("the cached catalogue holds %d products, not %d", state->catalog()->productCount(), count);
        state->updateManager()->bindCatalog(state->catalog());
        QObject::connect(state.get(), &AppState::productStatesChanged, [this] { ++notifications; });
    }
};

// Built once per size, kept across repetitions: the files take a while.
// Owned by main, so they go before the application object does.
std::map<int, std::unique_ptr<Fixture>> *fixtures = nullptr;

Fixture &fixture(int count)
{
    auto &slot = (*fixtures)[count];
    if (!slot)
        slot = std::make_unique<Fixture>(count);
    return *slot;
}

void report(benchmark::State &state, int count)
{
    state.SetComplexityN(count);
    state.counters["per_product"] =
        benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// A figure for the wrong answer is worthless: every other product must
// come out installed, with both bundles' versions read.
bool installStatesRight(const Fixture &f, int count)
{
    const auto &states = f.state->productStates();
    return states.size() == count
        && std::count(states.cbegin(), states.cend(), HubInstallState::Installed) == count / 2;
}

bool versionsRight(const Fixture &f, int count)
{
    const auto &states = f.state->updateManager()->states();
    return states.size() == count && std::count_if(states.cbegin(), states.cend(), [](const ProductUpdateState &s) {
               return s.installedVersions.size() == 2;
           }) == count / 2;
}

void BM_RefreshAndRebuild(benchmark::State &state)
{
    const int count = int(state.range(0));
    Fixture &f = fixture(count);
    f.notifications = 0;
    for (auto _ : state) {
        f.state->refreshAllStates();
        f.state->updateManager()->rebuildStates();
    }
    if (!installStatesRight(f, count) || !versionsRight(f, count))
        state.SkipWithError("wrong install states or versions");
    report(state, count);
    // What views connected to productStatesChanged would be woken for.
    state.counters["notifications"] = double(f.notifications) / double(state.iterations());
}

void BM_RefreshAllStates(benchmark::State &state)
{
    const int count = int(state.range(0));
    Fixture &f = fixture(count);
    for (auto _ : state)
        f.state->refreshAllStates();
    if (!installStatesRight(f, count))
        state.SkipWithError("wrong install states");
    report(state, count);
}

void BM_RebuildStates(benchmark::State &state)
{
    const int count = int(state.range(0));
    Fixture &f = fixture(count);
    for (auto _ : state)
        f.state->updateManager()->rebuildStates();
    if (!versionsRight(f, count))
        state.SkipWithError("wrong installed versions");
    report(state, count);
}

void sizes(benchmark::internal::Benchmark *b)
{
    for (const int count : {1000, 2000, 5000, 10000})
        b->Arg(count);
    // Wall time: the work is mostly file-system calls.
    b->Unit(benchmark::kMillisecond)->UseRealTime()->Complexity(benchmark::oN);
}

} // namespace

BENCHMARK(BM_RefreshAndRebuild)->Apply(sizes);
BENCHMARK(BM_RefreshAllStates)->Apply(sizes);
BENCHMARK(BM_RebuildStates)->Apply(sizes);

int main(int argc, char *argv[])
{
    TestSandbox sandbox; // HOME with the bundles, removed at exit
    QCoreApplication app(argc, argv);
    app.setOrganizationName(QStringLiteral("Quillmarsh"));
    app.setApplicationName(QStringLiteral("Quillmarsh Hub"));

    std::map<int, std::unique_ptr<Fixture>> built;
    fixtures = &built;

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
