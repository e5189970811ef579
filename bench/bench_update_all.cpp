// "Update all" of ten outdated products from a local service, through
// UpdateManager::downloadAll, against curl fetching the same ten files two at
// a time (--parallel --parallel-max 2); compares wall time and the hub's
// peak memory growth. The service runs in a child process.
// Run: bench/run-update-all [--size-mib N (each, default 100)] [--runs N (default 5)]
#include "BenchSupport.h"
#include "catalog/ProductCatalogManager.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"
#include "updates/UpdateManager.h"

#include <QCoreApplication>
#include <QCoroProcess>
#include <QCoroTask>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <unistd.h>
#include <vector>

using namespace bench;

namespace {

constexpr int Products = 10;
constexpr qint64 RssBudget = 32 * 1024 * 1024;
// The batch takes at most this much longer than curl's.
constexpr double AllowedRatio = 1.2;

QString fileOf(int product)
{
    return QStringLiteral("/files/Product%1.bin").arg(product);
}

// The catalogue and the feed name every product; each is installed at 1.0
// and published at 2.0 with its own installer.
void addRoutes(LocalHttpService &service, qint64 size)
{
    QJsonArray catalogue, feed;
    for (int i = 0; i < Products; ++i) {
        const QString id = QStringLiteral("p%1").arg(i);
        catalogue.append(QJsonObject{{"plugin_id", id}, {"display_name", id}, {"category", "fx"},
                                     {"install_formats", QJsonObject{{"VST3", QStringLiteral("Plugins/%1.vst3").arg(id)}}}});
        feed.append(QJsonObject{{"plugin_id", id}, {"version", "2.0"}, {"download_url", service.url(fileOf(i)).toString()}});
        service.setRoute(fileOf(i), LocalHttpService::Route{.generatedSize = size});
    }
    const auto json = [](const QJsonArray &array) { return QJsonDocument(array).toJson(QJsonDocument::Compact); };
    service.setRoute(QStringLiteral("/api/hub/products"), LocalHttpService::Route{.body = json(catalogue)});
    service.setRoute(QStringLiteral("/api/plugin-versions"), LocalHttpService::Route{.body = json(feed)});
}

struct Measurement
{
    bool ok = false;
    double seconds = 0;
    double durableSeconds = 0; // curl only: until its files are on disk, as the hub's are before their rename
    qint64 peakRss = -1;       // hub only
};

QCoro::Task<Measurement> updateAllWithHub(UpdateManager &manager, qint64 size)
{
    settleDisk();
    RssSampler sampler;
    sampler.start();
    QElapsedTimer clock;
    clock.start();
    const QList<platform::DownloadResult> results = co_await manager.downloadAll(false);
    Measurement m;
    m.seconds = clock.nsecsElapsed() / 1e9;
    m.peakRss = sampler.stop();
    m.ok = results.size() == Products;
    for (const platform::DownloadResult &result : results) {
        if (!result.outcome.ok() || !looksLikeBody(result.savedPath, size)) {
            std::fprintf(stderr, "hub download failed: %s\n", qPrintable(result.outcome.error));
            m.ok = false;
        }
        QFile::remove(result.savedPath);
    }
    co_return m;
}

QCoro::Task<Measurement> fetchAllWithCurl(const QString &curl, const Origin &origin, const QString &folder, qint64 size)
{
    settleDisk();
    QStringList arguments{QStringLiteral("-s"), QStringLiteral("-S"), QStringLiteral("--no-progress-meter"), QStringLiteral("--parallel"),
                          QStringLiteral("--parallel-max"), QStringLiteral("2")};
    for (int i = 0; i < Products; ++i)
        arguments << QStringLiteral("-o") << folder + fileOf(i).section(u'/', -1) << origin.url(fileOf(i)).toString();
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer clock;
    clock.start();
    const bool started = co_await qCoro(process).start(curl, arguments);
    const bool finished = started && co_await qCoro(process).waitForFinished(-1);
    Measurement m;
    m.seconds = clock.nsecsElapsed() / 1e9;
    for (int i = 0; i < Products; ++i) {
        QFile saved(folder + fileOf(i).section(u'/', -1));
        if (saved.open(QIODevice::ReadOnly))
            ::fsync(saved.handle());
    }
    m.durableSeconds = clock.nsecsElapsed() / 1e9;
    m.ok = finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    for (int i = 0; i < Products; ++i) {
        const QString saved = folder + fileOf(i).section(u'/', -1);
        m.ok = m.ok && looksLikeBody(saved, size);
        QFile::remove(saved);
    }
    if (!m.ok)
        std::fprintf(stderr, "curl failed or saved the wrong bytes\n");
    co_return m;
}

// Installs every product at 1.0 and lets the manager learn of 2.0.
QCoro::Task<bool> prepare(ProductCatalogManager &catalog, UpdateManager &manager)
{
    const QString home = TestSandbox::current().home();
    for (int i = 0; i < Products; ++i) {
        if (!plistwriter::writeBundle(home + QStringLiteral("/Plugins/p%1.vst3").arg(i),
                                      {{"CFBundleShortVersionString", "1.0"}}, plistwriter::Format::Xml))
            co_return false;
    }
    if (!(co_await catalog.fetchCatalog()).ok())
        co_return false;
    manager.bindCatalog(&catalog);
    manager.rebuildStates();
    const bool checked = (co_await manager.checkForUpdates()).ok();
    co_return checked && manager.outdatedProducts().size() == Products;
}

QCoro::Task<int> run(qint64 size, int runs)
{
    Origin origin;
    QStringList childArguments{QStringLiteral("--serve-only"), QStringLiteral("--size-mib"), QString::number(size >> 20)};
    if (!co_await origin.start([size](LocalHttpService &service) { addRoutes(service, size); }, true, childArguments)) {
        std::fprintf(stderr, "cannot start the local service\n");
        co_return 2;
    }
    TestHost host;
    const QString home = TestSandbox::current().home();
    const QString downloads = host.paths.downloadsDirectory();
    if (!insideSandbox(downloads))
        co_return 2;
    const QString curl = QStandardPaths::findExecutable(QStringLiteral("curl"));
    const QString curlFolder = home + QStringLiteral("/curl/");
    if (curl.isEmpty() || !QDir().mkpath(curlFolder)) {
        std::fprintf(stderr, "curl is not installed\n");
        co_return 2;
    }
    ProductCatalogManager catalog(host.paths.hubDirectory(), origin.url(QStringLiteral("/api/hub/products")), host.host);
    UpdateManager manager(origin.url(QStringLiteral("/api/plugin-versions")), host.host);
    if (!co_await prepare(catalog, manager)) {
        std::fprintf(stderr, "the ten products did not show as outdated\n");
        co_return 2;
    }
    // Growth is counted from before the first batch, so buffers the
    // allocator keeps between batches still count against the hub; the
    // first round of both only pays for one-off set-up and is not counted.
    const qint64 startRss = procStatus("VmRSS");
    if (!(co_await updateAllWithHub(manager, size)).ok || !(co_await fetchAllWithCurl(curl, origin, curlFolder, size)).ok)
        co_return 2;

    std::printf("%d products of %.0f MiB each, two transfers at a time, %d runs, load average %s\n", Products,
                size / MiB, runs, loadAverage().constData());
    std::printf("%-4s %7s %7s %8s %16s %11s\n", "run", "hub s", "curl s", "hub/curl", "curl+fsync s", "RSS growth");
    std::vector<double> hubTimes, curlTimes, durableTimes, ratios;
    qint64 worstGrowth = 0;
    for (int i = 1; i <= runs; ++i) {
        // Alternate who goes first, so neither always inherits the other's writeback.
        Measurement hub, viaCurl;
        if (i % 2) {
            hub = co_await updateAllWithHub(manager, size);
            viaCurl = co_await fetchAllWithCurl(curl, origin, curlFolder, size);
        } else {
            viaCurl = co_await fetchAllWithCurl(curl, origin, curlFolder, size);
            hub = co_await updateAllWithHub(manager, size);
        }
        if (!hub.ok || !viaCurl.ok)
            co_return 2;
        hubTimes.push_back(hub.seconds);
        curlTimes.push_back(viaCurl.seconds);
        durableTimes.push_back(viaCurl.durableSeconds);
        ratios.push_back(hub.seconds / viaCurl.seconds);
        worstGrowth = std::max(worstGrowth, hub.peakRss - startRss);
        std::printf("%-4d %7.2f %7.2f %8.2f %16.2f %7.1f MiB\n", i, hub.seconds, viaCurl.seconds, ratios.back(),
                    viaCurl.durableSeconds, (hub.peakRss - startRss) / MiB);
        std::fflush(stdout);
    }
    const double ratio = median(ratios);
    const bool memoryOk = worstGrowth < RssBudget;
    std::printf("median: hub %.2f s, curl %.2f s, curl and fsync of its files %.2f s (load average %s)\n",
                median(hubTimes), median(curlTimes), median(durableTimes), loadAverage().constData());
    std::printf("peak RSS growth < %.0f MiB: %s\n", RssBudget / MiB, memoryOk ? "yes" : "NO");
    std::printf("ratio %.2f (target <= %.1f): update all %.2f s, curl two at a time %.2f s, worst peak memory growth %.1f MiB\n",
                ratio, AllowedRatio, median(hubTimes), median(curlTimes), worstGrowth / MiB);
    co_return memoryOk && ratio <= AllowedRatio ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    return benchmarkMain(argc, argv, "bench_update_all [--size-mib N] [--runs N]", Options{.sizeMiB = 100, .runs = 5},
                         false, addRoutes, [](const Options &options) { return run(options.sizeMiB << 20, options.runs); });
}
