// Downloads a large generated installer from an in-process LocalHttpService
// through UpdateManager::download, then the same URL with curl, and compares
// wall time, throughput and the hub's peak memory growth.
// Run: bench/run-download [--size-mib N] [--runs N] [--server-process]
// --server-process moves the service into a child process, to tell the
// hub's own cost from that of serving on the same event loop.
#include "BenchSupport.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"
#include "updates/UpdateManager.h"

#include <QCoreApplication>
#include <QCoroProcess>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;

using namespace bench;

namespace {

constexpr qint64 RssBudget = 32 * 1024 * 1024;
// The hub takes at most as long as curl for the same body.
constexpr double RequiredRatio = 1.0;
constexpr qint64 WarmupSize = 16 << 20;

struct Measurement
{
    bool ok = false;
    qint64 bytes = 0;
    double seconds = 0;
    qint64 peakRss = -1; // hub only
    // CPU time used meanwhile by this process (hub and, unless in a child,
    // the service) and by reaped children (curl).
    double selfCpu = 0;
    double childCpu = 0;
    double mibPerSecond() const { return seconds > 0 ? bytes / MiB / seconds : 0; }
};

double cpuSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    const auto seconds = [](const timeval &t) { return double(t.tv_sec) + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// CPU time from construction to stop(), of this process and of its reaped children.
class CpuClock
{
public:
    void stop(Measurement &m) const
    {
        m.selfCpu = cpuSeconds(RUSAGE_SELF) - m_self;
        m.childCpu = cpuSeconds(RUSAGE_CHILDREN) - m_children;
    }

private:
    double m_self = cpuSeconds(RUSAGE_SELF);
    double m_children = cpuSeconds(RUSAGE_CHILDREN);
};

QCoro::Task<Measurement> downloadWithHub(UpdateManager &manager, const QUrl &url, qint64 size)
{
    settleDisk();
    RssSampler sampler;
    sampler.start();
    const CpuClock cpu;
    QElapsedTimer clock;
    clock.start();
    const platform::DownloadResult result = co_await manager.download(QStringLiteral("bench-installer"),
                                                                      url.toString(), false);
    Measurement m;
    m.seconds = clock.nsecsElapsed() / 1e9;
    cpu.stop(m);
    m.peakRss = sampler.stop();
    if (!result.outcome.ok()) {
        std::fprintf(stderr, "hub download failed: %s\n", qPrintable(result.outcome.error));
        co_return m;
    }
    m.bytes = QFileInfo(result.savedPath).size();
    m.ok = looksLikeBody(result.savedPath, size);
    if (!m.ok)
        std::fprintf(stderr, "hub download saved the wrong bytes: %s\n", qPrintable(result.savedPath));
    QFile::remove(result.savedPath);
    co_return m;
}

QCoro::Task<Measurement> downloadWithCurl(const QString &curl, const QUrl &url, const QString &target, qint64 size)
{
    settleDisk();
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const CpuClock cpu;
    QElapsedTimer clock;
    clock.start();
    // Awaited, never waited for: the service answering curl lives on this event loop.
    // Built before the co_await: GCC 12 rejects this list written inside it.
    QStringList arguments{QStringLiteral("-s"), QStringLiteral("-S"), QStringLiteral("-o"), target, url.toString()};
    const bool started = co_await qCoro(process).start(curl, arguments);
    const bool finished = started && co_await qCoro(process).waitForFinished(-1);
    Measurement m;
    m.seconds = clock.nsecsElapsed() / 1e9;
    cpu.stop(m);
    if (!finished || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        std::fprintf(stderr, "curl failed (exit code %d)\n", process.exitCode());
        QFile::remove(target);
        co_return m;
    }
    m.bytes = QFileInfo(target).size();
    m.ok = looksLikeBody(target, size);
    if (!m.ok)
        std::fprintf(stderr, "curl saved the wrong bytes\n");
    QFile::remove(target);
    co_return m;
}

void addRoutes(LocalHttpService &service, qint64 size)
{
    service.setRoute(QStringLiteral("/files/BenchInstaller.bin"), LocalHttpService::Route{.generatedSize = size});
    service.setRoute(QStringLiteral("/files/Warmup.bin"), LocalHttpService::Route{.generatedSize = WarmupSize});
}

QCoro::Task<int> run(qint64 size, int runs, bool separateServer)
{
    Origin origin;
    QStringList childArguments{QStringLiteral("--serve-only"), QStringLiteral("--size-mib"), QString::number(size >> 20)};
    if (!co_await origin.start([size](LocalHttpService &service) { addRoutes(service, size); }, separateServer,
                               childArguments)) {
        std::fprintf(stderr, "cannot start the local service\n");
        co_return 2;
    }
    const QUrl url = origin.url(QStringLiteral("/files/BenchInstaller.bin"));

    TestHost host;
    const QString home = TestSandbox::current().home();
    const QString downloads = host.paths.downloadsDirectory();
    if (!insideSandbox(downloads))
        co_return 2;
    UpdateManager manager(origin.url(QStringLiteral("/api/plugin-versions")), host.host);

    const QString curl = QStandardPaths::findExecutable(QStringLiteral("curl"));
    if (curl.isEmpty()) {
        std::fprintf(stderr, "curl is not installed\n");
        co_return 2;
    }
    const QString curlTarget = downloads + QStringLiteral("/curl-copy.bin");

    // Growth is counted from before the first transfer, so buffers the
    // allocator keeps between downloads still count against the hub.
    const qint64 startRss = procStatus("VmRSS");

    // First transfers pay for one-off set-up (the network manager's thread,
    // curl's libraries in the page cache); keep them out of the figures.
    const QUrl warmup = origin.url(QStringLiteral("/files/Warmup.bin"));
    if (!(co_await downloadWithHub(manager, warmup, WarmupSize)).ok
        || !(co_await downloadWithCurl(curl, warmup, curlTarget, WarmupSize)).ok)
        co_return 2;

    std::printf("body %.0f MiB from %s (service in %s), %d runs, load average %s\n", size / MiB,
                qPrintable(url.toString()), separateServer ? "a child process" : "this process", runs,
                loadAverage().constData());
    // CPU columns: each client's own CPU seconds per GiB. In this process
    // the service's share is taken out of the hub's, estimated by what this
    // process used while curl downloaded the same body.
    std::printf("%-4s %7s %10s %7s %10s %8s %12s %12s %10s\n", "run", "hub s", "hub MiB/s", "curl s",
                "curl MiB/s", "hub/curl", "hub CPU/GiB", "curl CPU/GiB", "RSS growth");
    const double gib = size / (1024.0 * MiB);
    std::vector<double> hubRates, curlRates, ratios, hubCpu, curlCpu;
    qint64 worstGrowth = 0;
    for (int i = 1; i <= runs; ++i) {
        // Alternate who goes first, so neither always inherits the other's
        // writeback and freed blocks.
        Measurement hub, viaCurl;
        if (i % 2) {
            hub = co_await downloadWithHub(manager, url, size);
            viaCurl = co_await downloadWithCurl(curl, url, curlTarget, size);
        } else {
            viaCurl = co_await downloadWithCurl(curl, url, curlTarget, size);
            hub = co_await downloadWithHub(manager, url, size);
        }
        if (!hub.ok || !viaCurl.ok)
            co_return 2;
        const double ratio = hub.mibPerSecond() / viaCurl.mibPerSecond();
        hubRates.push_back(hub.mibPerSecond());
        curlRates.push_back(viaCurl.mibPerSecond());
        ratios.push_back(ratio);
        const qint64 growth = hub.peakRss - startRss;
        worstGrowth = std::max(worstGrowth, growth);
        hubCpu.push_back((separateServer ? hub.selfCpu : hub.selfCpu - viaCurl.selfCpu) / gib);
        curlCpu.push_back(viaCurl.childCpu / gib);
        std::printf("%-4d %7.2f %10.0f %7.2f %10.0f %8.2f %10.2f s %10.2f s %6.1f MiB\n", i, hub.seconds,
                    hub.mibPerSecond(), viaCurl.seconds, viaCurl.mibPerSecond(), ratio, hubCpu.back(), curlCpu.back(),
                    growth / MiB);
        std::fflush(stdout);
    }

    const double medianRatio = median(ratios);
    std::printf("median: hub %.0f MiB/s, curl %.0f MiB/s, hub/curl %.2f; CPU per GiB hub %.2f s, curl %.2f s; "
                "worst hub RSS growth %.1f MiB (load average %s)\n",
                median(hubRates), median(curlRates), medianRatio, median(hubCpu), median(curlCpu), worstGrowth / MiB,
                loadAverage().constData());
    const bool memoryOk = worstGrowth < RssBudget;
    const bool speedOk = medianRatio >= RequiredRatio;
    std::printf("peak RSS growth < %.0f MiB: %s\n", RssBudget / MiB, memoryOk ? "yes" : "NO");
    // Time taken against curl's: the inverse of the throughput ratio.
    std::printf("ratio %.2f (target <= %.1f): hub %.0f MiB/s, curl %.0f MiB/s, worst peak memory growth %.1f MiB\n",
                1 / medianRatio, 1 / RequiredRatio, median(hubRates), median(curlRates), worstGrowth / MiB);
    co_return memoryOk && speedOk ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    return benchmarkMain(argc, argv, "bench_download [--size-mib N] [--runs N] [--server-process]",
                         Options{.sizeMiB = 1024, .runs = 9}, true, addRoutes,
                         [](const Options &options) { return run(options.sizeMiB << 20, options.runs, options.separateServer); });
}
