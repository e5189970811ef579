#include "DownloadProgress.h"

namespace {

// Few samples, however many chunks arrive.
constexpr qint64 SampleSpacing = 250;
// Less than this tells nothing about a rate.
constexpr qint64 ShortestSpan = 500;

} // namespace

void DownloadProgress::update(qint64 received, qint64 total, const QDateTime &at)
{
    const qint64 now = at.toMSecsSinceEpoch();
    // A download that started over counts from its new beginning.
    if (received < m_received)
        m_samples.clear();
    m_received = received;
    m_total = total;
    m_at = now;
    if (m_samples.isEmpty() || now - m_samples.last().at >= SampleSpacing)
        m_samples.append({now, received});
    // Keep one sample at or before the window's start, so the rate spans it.
    while (m_samples.size() > 1 && m_samples.at(1).at <= now - WindowMilliseconds)
        m_samples.removeFirst();
}

double DownloadProgress::rate() const
{
    if (m_samples.isEmpty())
        return -1;
    const Sample &oldest = m_samples.first();
    const qint64 span = m_at - oldest.at;
    if (span < ShortestSpan)
        return -1;
    return double(m_received - oldest.received) * 1000.0 / double(span);
}
