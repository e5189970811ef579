#pragma once

#include "Sleeper.h"

#include <QCoro/QCoroTask>
#include <QPointer>

#include <chrono>
#include <type_traits>

namespace platform {

// Runs `step(*owner)` after `firstWait`, then again `interval` after each
// run has finished, for as long as `owner` exists: a schedule for nothing
// has nothing to do, and ends the moment its owner goes, sleep and all. A
// step that is a coroutine is awaited.
template<typename Owner, typename Step>
QCoro::Task<> repeatWhileAlive(QPointer<Owner> owner, Sleeper &sleeper, std::chrono::milliseconds firstWait,
                               std::chrono::milliseconds interval, Step step)
{
    for (std::chrono::milliseconds wait = firstWait; owner; wait = interval) {
        if (wait.count() > 0)
            co_await sleeper.sleep(wait, owner.data());
        if (!owner)
            break;
        if constexpr (std::is_void_v<std::invoke_result_t<Step &, Owner &>>)
            step(*owner);
        else
            co_await step(*owner);
    }
}

} // namespace platform
