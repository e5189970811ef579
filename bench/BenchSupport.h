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

// The child's side of Origin: serves `addRoutes` and prints its port, then
// serves until terminated.
int serveOnly(const std::function<void(LocalHttpService &)> &addRoutes);

} // namespace bench
