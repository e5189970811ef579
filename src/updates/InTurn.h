#pragma once

#include <QCoro/QCoroTask>
#include <QList>

#include <functional>
#include <vector>

namespace updates {

namespace detail {

template<typename Result>
QCoro::Task<> takeTurns(qsizetype *next, QList<Result> *results, const std::function<QCoro::Task<Result>(qsizetype)> *job)
{
    while (*next < results->size()) {
        const qsizetype index = (*next)++;
        (*results)[index] = co_await (*job)(index);
    }
}

} // namespace detail

// Runs job(0) … job(count - 1), starting them in that order with at most
// `width` running at once; each result lands at its own index.
template<typename Result>
QCoro::Task<QList<Result>> inTurn(qsizetype count, int width, std::function<QCoro::Task<Result>(qsizetype)> job)
{
    QList<Result> results(count);
    qsizetype next = 0;
    std::vector<QCoro::Task<>> lanes;
    for (int lane = 0; lane < width && lane < count; ++lane)
        lanes.push_back(detail::takeTurns(&next, &results, &job));
    for (QCoro::Task<> &lane : lanes)
        co_await lane;
    co_return results;
}

} // namespace updates
