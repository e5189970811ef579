#include "BenchSupport.h"

#include "support/TestSandbox.h"

#include <QCoreApplication>
#include <QCoroIODevice>
#include <QCoroProcess>
#include <QFile>

#include <algorithm>
#include <cstring>
#include <optional>
#include <cstdio>
#include <unistd.h>

using namespace std::chrono_literals;

namespace bench {

qint64 procStatus(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray key = QByteArray(field) + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').constFirst().toLongLong() * 1024;
    }
    return -1;
}

namespace {

// Lets VmHWM start again from the current RSS, so it shows this transfer's
// peak rather than the process's whole history. Needs Linux 4.0.
bool resetPeakRss()
{
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    return clearRefs.open(QIODevice::WriteOnly) && clearRefs.write("5") == 1;
}

} // namespace

void RssSampler::start()
{
    m_hwmReset = resetPeakRss();
    m_maxSampled = procStatus("VmRSS");
    QObject::connect(&m_timer, &QTimer::timeout, [this] { sample(); });
    m_timer.start(50ms);
}

qint64 RssSampler::stop()
{
    sample();
    m_timer.stop();
    m_timer.disconnect();
    qint64 peak = m_maxSampled;
    if (m_hwmReset)
        peak = std::max(peak, procStatus("VmHWM"));
    return peak;
}

void RssSampler::sample()
{
    m_maxSampled = std::max(m_maxSampled, procStatus("VmRSS"));
}

bool looksLikeBody(const QString &path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() != size)
        return false;
    const qint64 probe = std::min<qint64>(4096, size);
    for (const qint64 offset : {qint64(0), size / 2, size - probe}) {
        if (!file.seek(offset) || file.read(probe) != LocalHttpService::generatedBytes(offset, probe))
            return false;
    }
    return true;
}

void settleDisk()
{
    ::sync();
}

QByteArray loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    if (!file.open(QIODevice::ReadOnly))
        return "unknown";
    return file.readAll().split(' ').mid(0, 3).join(' ');
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

bool insideSandbox(const QString &downloads)
{
    const QString home = TestSandbox::current().home();
    if (!home.isEmpty() && downloads.startsWith(home + u'/'))
        return true;
    std::fprintf(stderr, "Downloads is outside the sandbox: %s\n", qPrintable(downloads));
    return false;
}

QCoro::Task<bool> Origin::start(std::function<void(LocalHttpService &)> addRoutes, bool separateProcess,
                                QStringList childArguments)
{
    if (!separateProcess) {
        if (!local.listen())
            co_return false;
        addRoutes(local);
        base = local.baseUrl();
        co_return true;
    }
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (!co_await qCoro(child).start(QCoreApplication::applicationFilePath(), childArguments))
        co_return false;
    while (!child.canReadLine()) {
        if (!co_await qCoro(static_cast<QIODevice &>(child)).waitForReadyRead(10'000))
            co_return false;
    }
    bool ok = false;
    const int port = child.readLine().trimmed().toInt(&ok);
    base = QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port));
    co_return ok;
}

QUrl Origin::url(const QString &path) const
{
    QUrl result = base;
    result.setPath(path);
    return result;
}

Origin::~Origin()
{
    if (child.state() != QProcess::NotRunning) {
        child.terminate();
        child.waitForFinished(5000); // at exit, nothing else is waiting on the loop
    }
}

std::optional<Options> parseOptions(const QStringList &arguments, Options defaults, bool serverProcess)
{
    Options options = defaults;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        bool ok = true;
        const bool hasValue = i + 1 < arguments.size();
        if (arguments[i] == QLatin1String("--size-mib") && hasValue)
            options.sizeMiB = arguments[++i].toLongLong(&ok);
        else if (arguments[i] == QLatin1String("--runs") && hasValue)
            options.runs = arguments[++i].toInt(&ok);
        else if (serverProcess && arguments[i] == QLatin1String("--server-process"))
            options.separateServer = true;
        else if (arguments[i] == QLatin1String("--serve-only"))
            options.serve = true;
        else
            ok = false;
        if (!ok || options.sizeMiB <= 0 || options.runs <= 0)
            return std::nullopt;
    }
    return options;
}

int serveOnly(const std::function<void(LocalHttpService &)> &addRoutes)
{
    LocalHttpService service;
    if (!service.listen())
        return 2;
    addRoutes(service);
    std::printf("%d\n", service.baseUrl().port());
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace bench

namespace bench {

int benchmarkMain(int argc, char *argv[], const char *usage, Options defaults, bool serverProcess,
                  std::function<void(LocalHttpService &, qint64 size)> addRoutes,
                  std::function<QCoro::Task<int>(const Options &)> run)
{
    std::optional<TestSandbox> sandbox;
    if (!std::any_of(argv + 1, argv + argc, [](const char *arg) { return std::strcmp(arg, "--serve-only") == 0; }))
        sandbox.emplace();
    QCoreApplication app(argc, argv);
    app.setOrganizationName(QStringLiteral("Quillmarsh"));
    app.setApplicationName(QStringLiteral("Quillmarsh Hub"));
    const auto options = parseOptions(app.arguments(), defaults, serverProcess);
    if (!options) {
        std::fprintf(stderr, "usage: %s\n", usage);
        return 2;
    }
    const qint64 size = options->sizeMiB << 20;
    if (options->serve)
        return serveOnly([&](LocalHttpService &service) { addRoutes(service, size); });
    return QCoro::waitFor(run(*options));
}

} // namespace bench
