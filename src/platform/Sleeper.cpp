#include "Sleeper.h"

#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <coroutine>
#include <memory>

#include <sys/timerfd.h>
#include <unistd.h>

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

// Resumes on the first of `signal` from `source` or the destruction of
// `owner`. A timer's expiry resumes from the event loop, never inside the
// emitting object's own signal, so the sleep may delete it on the spot.
template<typename Source, typename Signal>
class FirstOf
{
public:
    FirstOf(Source *source, Signal signal, const QObject *owner)
        : m_source(source)
        , m_signal(signal)
        , m_owner(owner)
    {
    }

    bool await_ready() const noexcept { return !m_owner; }
    void await_suspend(std::coroutine_handle<> handle)
    {
        // Lambdas without parameters: the awaited signals are private and
        // carry a tag that must not be bound.
        m_fired = QObject::connect(m_source, m_signal, m_source, [this, handle] {
            disconnectAll();
            QMetaObject::invokeMethod(m_source, [handle] { handle.resume(); }, Qt::QueuedConnection);
        });
        m_gone = QObject::connect(m_owner, &QObject::destroyed, m_source, [this, handle] {
            disconnectAll();
            handle.resume();
        });
    }
    void await_resume() const noexcept {}

private:
    void disconnectAll()
    {
        QObject::disconnect(m_fired);
        QObject::disconnect(m_gone);
    }

    Source *m_source;
    Signal m_signal;
    QPointer<const QObject> m_owner;
    QMetaObject::Connection m_fired;
    QMetaObject::Connection m_gone;
};

} // namespace

QCoro::Task<> BootClockSleeper::sleep(std::chrono::milliseconds duration, const QObject *owner)
{
    if (duration.count() <= 0 || !owner)
        co_return;

    const FdCloser timer{::timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC)};
    if (timer.fd < 0) {
        // No boot clock (very old kernel): a monotonic timer is the next best thing.
        const auto fallback = std::make_unique<QTimer>();
        fallback->setSingleShot(true);
        fallback->setTimerType(Qt::PreciseTimer);
        fallback->start(duration);
        co_await FirstOf(fallback.get(), &QTimer::timeout, owner);
        co_return;
    }

    itimerspec expiry{};
    expiry.it_value.tv_sec = duration.count() / 1000;
    expiry.it_value.tv_nsec = (duration.count() % 1000) * 1000000;
    ::timerfd_settime(timer.fd, 0, &expiry, nullptr);

    const auto notifier = std::make_unique<QSocketNotifier>(timer.fd, QSocketNotifier::Read);
    co_await FirstOf(notifier.get(), &QSocketNotifier::activated, owner);
    notifier->setEnabled(false);
    uint64_t expirations = 0;
    [[maybe_unused]] const auto read = ::read(timer.fd, &expirations, sizeof expirations);
}

} // namespace platform
