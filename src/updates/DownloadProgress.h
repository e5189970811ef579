#pragma once

#include <QDateTime>
#include <QList>
#include <QtGlobal>

// One product's transfer as the views show it: the bytes so far, the
// total when the server announced one, and a rate smoothed over the last
// few seconds, timed by the host's clock.
class DownloadProgress
{
public:
    static constexpr qint64 WindowMilliseconds = 5000;

    void update(qint64 received, qint64 total, const QDateTime &at);

    qint64 received() const { return m_received; }
    // -1 while unknown.
    qint64 total() const { return m_total; }
    // Bytes per second; -1 until the samples span a moment.
    double rate() const;

private:
    struct Sample
    {
        qint64 at;
        qint64 received;
    };

    qint64 m_received = 0;
    qint64 m_total = -1;
    qint64 m_at = 0;
    // At least SampleSpacing apart, the oldest at most one window back.
    QList<Sample> m_samples;
};
