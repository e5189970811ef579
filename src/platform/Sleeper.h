#pragma once

#include <QCoro/QCoroTask>

#include <chrono>

class QObject;

namespace platform {

// Waits that the schedules use.
class Sleeper
{
public:
    virtual ~Sleeper() = default;
    // Ends after `duration`, or as soon as `owner` is destroyed, so that a
    // schedule whose owner has gone ends too instead of sleeping forever.
    virtual QCoro::Task<> sleep(std::chrono::milliseconds duration, const QObject *owner) = 0;
};

// Sleeps on CLOCK_BOOTTIME, which keeps counting while the computer is
// suspended, so a six-hour schedule means six hours of wall time.
class BootClockSleeper final : public Sleeper
{
public:
    QCoro::Task<> sleep(std::chrono::milliseconds duration, const QObject *owner) override;
};

} // namespace platform
