// Working out install states and installed versions for a catalogue of N
// products: AppState::refreshAllStates, then UpdateManager::rebuildStates.
// Each product has two install paths under HOME; every other one is
// installed, with an Info.plist (one XML, one binary) in both bundles.
// Run: build/bench/bench_states   (or bench/run-states)
#include "app/AppState.h"
#include "platform/RegularFile.h"
#include "support/LinuxBundles.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QFileInfo>
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

// Linux plug-ins as they are installed: every other product has a VST3
// bundle with moduleinfo.json and an LV2 bundle; every tenth also a CLAP
// file. Scans happen once, before timing; what is timed is the hourly
// refresh and rebuild over unchanged plug-ins.
struct LinuxFixture
{
    TestHost host;
    std::unique_ptr<AppState> state;
    QStringList files; // what the probe reads or stats, for the raw reference

    explicit LinuxFixture(int count)
    {
        const QString home = TestSandbox::current().home();
        QJsonArray catalogue;
        for (int i = 0; i < count; ++i) {
            const QString vst3 = QStringLiteral("Linux-%1/Product-%2.vst3").arg(count).arg(i);
            const QString lv2 = QStringLiteral("Linux-%1/product-%2.lv2").arg(count).arg(i);
            const QString clap = QStringLiteral("Linux-%1/Product-%2.clap").arg(count).arg(i);
            catalogue.append(QJsonObject{{"plugin_id", QStringLiteral("product-%1").arg(i)},
                                         {"display_name", QStringLiteral("Product %1").arg(i)},
                                         {"category", QStringLiteral("c")},
                                         {"section_title", QStringLiteral("Plug-ins")},
                                         {"sort_order", i},
                                         {"category_sort_order", 0},
                                         {"install_formats", QJsonObject{{"vst3", vst3}, {"lv2", lv2}, {"clap", clap}}}});
            if (i % 2)
                continue;
            const QString version = QStringLiteral("1.%1").arg(i % 10);
            if (!linuxbundles::writeVst3(home + u'/' + vst3, linuxbundles::moduleInfo(version))
                || !linuxbundles::writeLv2(home + u'/' + lv2, QStringLiteral("https://quillmarsh.example/lv2/%1").arg(i), version)
                || (i % 10 == 0 && !linuxbundles::installClap(home + u'/' + clap)))
                qFatal("cannot write the plug-ins of product %d", i);
            files << home + u'/' + vst3 + QStringLiteral("/Contents/Resources/moduleinfo.json")
                  << home + u'/' + lv2 + QStringLiteral("/manifest.ttl") << home + u'/' + lv2 + QStringLiteral("/plugin.ttl");
            if (i % 10 == 0)
                files << home + u'/' + clap;
        }
        QDir().mkpath(host.paths.hubDirectory());
        QFile cache(host.paths.hubDirectory() + QStringLiteral("/product_catalog.json"));
        if (!cache.open(QIODevice::WriteOnly | QIODevice::Truncate) || cache.write(QJsonDocument(catalogue).toJson()) < 0)
            qFatal("cannot write the catalogue cache");
        cache.close();
        state = std::make_unique<AppState>(host.host, ServiceAddress(QUrl(QStringLiteral("http://127.0.0.1:9"))));
        state->updateManager()->bindCatalog(state->catalog());
        state->updateManager()->rebuildStates();
        QCoro::waitFor(state->updateManager()->finishPluginScans());
    }

    bool right(int count) const
    {
        const auto &states = state->updateManager()->states();
        return std::count_if(states.cbegin(), states.cend(), [](const ProductUpdateState &s) {
                   return s.installedVersions.size() >= 2;
               }) == count / 2;
    }
};

// Built once per size for both benchmarks; the scans take a while.
std::unique_ptr<LinuxFixture> &linuxFixture(int count)
{
    static std::map<int, std::unique_ptr<LinuxFixture>> built;
    auto &f = built[count];
    if (!f)
        f = std::make_unique<LinuxFixture>(count);
    return f;
}

void BM_LinuxRefreshAndRebuild(benchmark::State &state)
{
    const int count = int(state.range(0));
    auto &f = linuxFixture(count);
    const int scansBefore = f->host.pluginScanner.processesStarted();
    for (auto _ : state) {
        f->state->refreshAllStates();
        f->state->updateManager()->rebuildStates();
    }
    if (!f->right(count))
        state.SkipWithError("wrong installed versions");
    // Unchanged plug-ins are never scanned again.
    state.counters["scans"] = f->host.pluginScanner.processesStarted() - scansBefore;
    report(state, count);
}

// The floor: stat() every install path and read every file the probe
// reads, with nothing made of them.
void BM_LinuxRawFileCost(benchmark::State &state)
{
    const int count = int(state.range(0));
    auto &f = linuxFixture(count);
    const QString home = TestSandbox::current().home();
    for (auto _ : state) {
        qint64 bytes = 0;
        for (const Product &product : f->state->catalog()->products())
            for (const QString &path : product.resolvedPaths(home))
                bytes += QFileInfo::exists(path);
        for (const QString &file : std::as_const(f->files))
            bytes += platform::readRegularFile(file, 1 << 20).value_or(QByteArray()).size();
        benchmark::DoNotOptimize(bytes);
    }
    report(state, count);
}

void linuxSizes(benchmark::internal::Benchmark *b)
{
    b->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(BM_LinuxRefreshAndRebuild)->Apply(linuxSizes);
BENCHMARK(BM_LinuxRawFileCost)->Apply(linuxSizes);
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
