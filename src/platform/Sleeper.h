#pragma once

#include <QCoro/QCoroTask>

#include <chrono>

namespace platform {

// Waits that the schedules use.
class Sleeper
{
public:
    virtual ~Sleeper() = default;
    virtual QCoro::Task<> sleep(std::chrono::milliseconds duration) = 0;
};

// Sleeps on CLOCK_BOOTTIME, which keeps counting while the computer is
// suspended, so a six-hour schedule means six hours of wall time.
class BootClockSleeper final : public Sleeper
{
public:
    QCoro::Task<> sleep(std::chrono::milliseconds duration) override;
};

} // namespace platform
