#include "Sleeper.h"

#include "DeleteLater.h"

#include <QCoroSignal>
#include <QSocketNotifier>
#include <QTimer>

#include <sys/timerfd.h>
#include <unistd.h>

#include <memory>

namespace platform {
namespace {

struct FdCloser {
    int fd;
    ~FdCloser()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

} // namespace

QCoro::Task<> BootClockSleeper::sleep(std::chrono::milliseconds duration)
{
    if (duration.count() <= 0)
        co_return;

    const FdCloser timer{::timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC)};
    if (timer.fd < 0) {
        // No boot clock (very old kernel): a monotonic timer is the next best thing.
        const LaterPtr<QTimer> fallback(new QTimer);
        fallback->setSingleShot(true);
        fallback->setTimerType(Qt::PreciseTimer);
        fallback->start(duration);
        co_await qCoro(fallback.get(), &QTimer::timeout);
        co_return;
    }

    itimerspec expiry{};
    expiry.it_value.tv_sec = duration.count() / 1000;
    expiry.it_value.tv_nsec = (duration.count() % 1000) * 1000000;
    ::timerfd_settime(timer.fd, 0, &expiry, nullptr);

    const LaterPtr<QSocketNotifier> notifier(new QSocketNotifier(timer.fd, QSocketNotifier::Read));
    co_await qCoro(notifier.get(), &QSocketNotifier::activated);
    notifier->setEnabled(false);
    uint64_t expirations = 0;
    [[maybe_unused]] const auto read = ::read(timer.fd, &expirations, sizeof expirations);
}

} // namespace platform
