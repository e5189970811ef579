// Working out install states and installed versions for a catalogue of N
// products: AppState::refreshAllStates, then UpdateManager::rebuildStates,
// beside the raw file-system cost of the same work, written plainly: stat()
// on every install path, then open, read to the end and close every file
// the versions come from, on paths spelled out in advance.
//
// Info.plist: two install paths per product; every other product is
// installed, with an Info.plist in both bundles (one XML, one binary).
// Linux: every other product is installed as a VST3 bundle with
// moduleinfo.json and an LV2 bundle, every tenth also as a CLAP file; the
// reference reads moduleinfo.json, both Turtle files and the CLAP file,
// which the hub's cached scans stand for. The scans run once while the
// fixture is built; what is timed is refreshing and rebuilding over
// unchanged plug-ins.
// Run: bench/run-states
#include "app/AppState.h"
#include "support/LinuxBundles.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A catalogue on disk, an AppState that loaded it from the cache file as
// the hub does at start, and the paths the raw reference works on.
struct Fixture
{
    TestHost host;
    std::unique_ptr<AppState> state;
    std::vector<std::string> installPaths;
    std::vector<std::string> files;
    int notifications = 0;

    void load(const QJsonArray &catalogue)
    {
        const QString home = TestSandbox::current().home();
        for (const QJsonValue &product : catalogue) {
            for (const QJsonValue &path : product[QLatin1String("install_formats")].toObject())
                installPaths.push_back(QFile::encodeName(home + u'/' + path.toString()).toStdString());
        }
        QDir().mkpath(host.paths.hubDirectory());
        QFile cache(host.paths.hubDirectory() + QStringLiteral("/product_catalog.json"));
        if (!cache.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || cache.write(QJsonDocument(catalogue).toJson(QJsonDocument::Compact)) < 0)
            qFatal("cannot write the catalogue cache");
        cache.close();
        // Nothing is ever served: the catalogue comes from the cache.
        state = std::make_unique<AppState>(host.host, ServiceAddress(QUrl(QStringLiteral("http://127.0.0.1:9"))));
        if (state->catalog()->productCount() != catalogue.size())
            qFatal("the cached catalogue holds %d products, not %lld", state->catalog()->productCount(),
                   qlonglong(catalogue.size()));
        QObject::connect(state.get(), &AppState::productStatesChanged, [this] { ++notifications; });
    }

    void addFile(const QString &path) { files.push_back(QFile::encodeName(path).toStdString()); }

    // A figure for the wrong answer is worthless: every other product must
    // come out installed, with two versions or more read.
    bool right() const
    {
        const auto &installed = state->productStates();
        const auto &states = state->updateManager()->states();
        const qsizetype count = state->catalog()->productCount();
        return installed.size() == count && states.size() == count
            && std::count(installed.cbegin(), installed.cend(), HubInstallState::Installed) == count / 2
            && std::count_if(states.cbegin(), states.cend(), [&](const ProductUpdateState &s) {
                   return s.installedVersions.size() >= 2;
               }) == count / 2;
    }
};

QJsonObject product(int i, const QJsonObject &formats)
{
    return {{"plugin_id", QStringLiteral("product-%1").arg(i)},
            {"display_name", QStringLiteral("Product %1").arg(i)},
            {"category", QStringLiteral("category-%1").arg(i % 12)},
            {"section_title", QStringLiteral("Section %1").arg(i % 12)},
            {"sort_order", i},
            {"category_sort_order", i % 12},
            {"install_formats", formats}};
}

struct PlistFixture : Fixture
{
    explicit PlistFixture(int count)
    {
        const QString home = TestSandbox::current().home();
        QJsonArray catalogue;
        for (int i = 0; i < count; ++i) {
            const QString vst3 = QStringLiteral("Catalogue-%1/vst3/Product-%2.vst3").arg(count).arg(i);
            const QString clap = QStringLiteral("Catalogue-%1/clap/Product-%2.clap").arg(count).arg(i);
            catalogue.append(product(i, {{"vst3", vst3}, {"clap", clap}}));
            if (i % 2)
                continue;
            const QVariantMap info{{"CFBundleShortVersionString", QStringLiteral("1.%1").arg(i % 10)}};
            if (!plistwriter::writeBundle(home + u'/' + vst3, info, plistwriter::Format::Xml)
                || !plistwriter::writeBundle(home + u'/' + clap, info, plistwriter::Format::Binary))
                qFatal("cannot write the bundles of product %d", i);
            addFile(home + u'/' + vst3 + QStringLiteral("/Contents/Info.plist"));
            addFile(home + u'/' + clap + QStringLiteral("/Contents/Info.plist"));
        }
        load(catalogue);
    }
};

struct LinuxFixture : Fixture
{
    explicit LinuxFixture(int count)
    {
        const QString home = TestSandbox::current().home();
        QJsonArray catalogue;
        for (int i = 0; i < count; ++i) {
            const QString vst3 = QStringLiteral("Linux-%1/Product-%2.vst3").arg(count).arg(i);
            const QString lv2 = QStringLiteral("Linux-%1/product-%2.lv2").arg(count).arg(i);
            const QString clap = QStringLiteral("Linux-%1/Product-%2.clap").arg(count).arg(i);
            catalogue.append(product(i, {{"vst3", vst3}, {"lv2", lv2}, {"clap", clap}}));
            if (i % 2)
                continue;
            const QString version = QStringLiteral("1.%1").arg(i % 10);
            if (!linuxbundles::writeVst3(home + u'/' + vst3, linuxbundles::moduleInfo(version))
                || !linuxbundles::writeLv2(home + u'/' + lv2, QStringLiteral("https://quillmarsh.example/lv2/%1").arg(i),
                                           version)
                || (i % 10 == 0 && !linuxbundles::installClap(home + u'/' + clap)))
                qFatal("cannot write the plug-ins of product %d", i);
            addFile(home + u'/' + vst3 + QStringLiteral("/Contents/Resources/moduleinfo.json"));
            addFile(home + u'/' + lv2 + QStringLiteral("/manifest.ttl"));
            addFile(home + u'/' + lv2 + QStringLiteral("/plugin.ttl"));
            if (i % 10 == 0)
                addFile(home + u'/' + clap);
        }
        load(catalogue);
        state->updateManager()->rebuildStates();
        QCoro::waitFor(state->updateManager()->finishPluginScans());
    }
};

// Built once per size, kept across repetitions: the files and scans take a
// while. Owned by main, so they go before the application object does.
std::map<int, std::unique_ptr<PlistFixture>> *plistFixtures = nullptr;
std::map<int, std::unique_ptr<LinuxFixture>> *linuxFixtures = nullptr;

template<class F>
F &fixture(std::map<int, std::unique_ptr<F>> &built, const benchmark::State &state)
{
    auto &slot = built[int(state.range(0))];
    if (!slot)
        slot = std::make_unique<F>(int(state.range(0)));
    return *slot;
}

// The floor: stat() every install path, then read every file the versions
// come from, with nothing made of them.
qint64 rawFileCost(const Fixture &f, std::vector<char> &buffer)
{
    qint64 total = 0;
    struct stat status {};
    for (const std::string &path : f.installPaths)
        total += ::stat(path.c_str(), &status) == 0;
    for (const std::string &file : f.files) {
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        for (ssize_t n; (n = ::read(fd, buffer.data(), buffer.size())) > 0;)
            total += n;
        ::close(fd);
    }
    return total;
}

// The hub's pass (install states, then versions, from one look at the
// install paths, as each applied catalogue runs it) and the raw reference,
// timed in turns within each iteration, in alternating order, so the load
// of a shared machine weighs on both alike.
template<class F>
void compare(F &f, benchmark::State &state)
{
    using Clock = std::chrono::steady_clock;
    const int scansBefore = f.host.pluginScanner.processesStarted();
    std::vector<char> buffer(64 * 1024);
    Clock::duration hub{}, raw{};
    bool hubFirst = true;
    f.notifications = 0;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        if (hubFirst)
            f.state->applyCatalogue();
        else
            benchmark::DoNotOptimize(rawFileCost(f, buffer));
        const Clock::time_point middle = Clock::now();
        if (hubFirst)
            benchmark::DoNotOptimize(rawFileCost(f, buffer));
        else
            f.state->applyCatalogue();
        const Clock::time_point end = Clock::now();
        (hubFirst ? hub : raw) += middle - start;
        (hubFirst ? raw : hub) += end - middle;
        hubFirst = !hubFirst;
    }
    if (!f.right())
        state.SkipWithError("wrong install states or versions");
    const auto milliseconds = [](Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); };
    state.counters["hub_ms"] = benchmark::Counter(milliseconds(hub), benchmark::Counter::kAvgIterations);
    state.counters["raw_ms"] = benchmark::Counter(milliseconds(raw), benchmark::Counter::kAvgIterations);
    // What views connected to productStatesChanged would be woken for.
    state.counters["notifications"] = double(f.notifications) / double(state.iterations());
    // Unchanged plug-ins are never scanned again.
    state.counters["scans"] = f.host.pluginScanner.processesStarted() - scansBefore;
}

void BM_Plist(benchmark::State &state)
{
    compare(fixture(*plistFixtures, state), state);
}

void BM_Linux(benchmark::State &state)
{
    compare(fixture(*linuxFixtures, state), state);
}

void sizes(benchmark::internal::Benchmark *b)
{
    // Wall time: the work is mostly file-system calls.
    b->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

} // namespace

BENCHMARK(BM_Plist)->Apply(sizes);
BENCHMARK(BM_Linux)->Apply(sizes);

int main(int argc, char *argv[])
{
    TestSandbox sandbox; // HOME with the bundles, removed at exit
    QCoreApplication app(argc, argv);
    app.setOrganizationName(QStringLiteral("Quillmarsh"));
    app.setApplicationName(QStringLiteral("Quillmarsh Hub"));

    std::map<int, std::unique_ptr<PlistFixture>> plistBuilt;
    std::map<int, std::unique_ptr<LinuxFixture>> linuxBuilt;
    plistFixtures = &plistBuilt;
    linuxFixtures = &linuxBuilt;

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
