#pragma once

// What the download benchmarks share: memory and load readings, checks of
// the saved bodies, and the local service they fetch from.
#include "support/LocalHttpService.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <optional>
#include <vector>

namespace bench {

constexpr double MiB = 1024.0 * 1024.0;

// One "VmXXX:   1234 kB" line of /proc/self/status, in bytes; -1 if absent.
qint64 procStatus(const char *field);

// Samples VmRSS on the event loop while a transfer runs, so a peak that
// VmHWM cannot isolate (when clear_refs is refused) is still seen.
class RssSampler
{
public:
    void start();
    // Peak RSS since start(), in bytes.
    qint64 stop();

private:
    void sample();

    QTimer m_timer;
    qint64 m_maxSampled = 0;
    bool m_hwmReset = false;
};

// Spot-checks a saved body against the generator at its start, middle and end.
bool looksLikeBody(const QString &path, qint64 size);

// Starts each transfer with no other file's dirty pages or freed blocks
// still queued for the disk. Nothing is in flight when it is called.
void settleDisk();

// Figures taken while other work competes for the two cores mean little;
// the load average printed with them tells.
QByteArray loadAverage();

double median(std::vector<double> values);

// Whether `downloads` lies inside the sandbox's home, so no benchmark ever
// writes gigabytes into the real Downloads folder; says why not on stderr.
bool insideSandbox(const QString &downloads);

// Where the bodies come from: this process's event loop, or a child
// process (this program run with `childArguments`, printing its port on
// its first line), so that the hub's event loop carries only its own work.
struct Origin
{
    LocalHttpService local;
    QProcess child;
    QUrl base;

    QCoro::Task<bool> start(std::function<void(LocalHttpService &)> addRoutes, bool separateProcess,
                            QStringList childArguments);
    QUrl url(const QString &path) const;
    ~Origin();
};

// What a download benchmark was asked for on its command line.
struct Options
{
    qint64 sizeMiB = 0;
    int runs = 0;
    bool separateServer = false; // --server-process
    bool serve = false;          // --serve-only: the child's side of Origin
};
// Reads --size-mib N, --runs N, --serve-only and, if `serverProcess` is
// allowed, --server-process over `defaults`; nothing on a usage error.
std::optional<Options> parseOptions(const QStringList &arguments, Options defaults, bool serverProcess);

// A download benchmark's main(): HOME, and so Downloads, in a temporary
// folder (not for the child service, which is terminated and would leave
// its folder behind), the options read, then either serving `addRoutes`
// for the parent or `run`.
int benchmarkMain(int argc, char *argv[], const char *usage, Options defaults, bool serverProcess,
                  std::function<void(LocalHttpService &, qint64 size)> addRoutes,
                  std::function<QCoro::Task<int>(const Options &)> run);

// The child's side of Origin: serves `addRoutes` and prints its port, then
// serves until terminated.
int serveOnly(const std::function<void(LocalHttpService &)> &addRoutes);

} // namespace bench
