#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <chrono>

namespace platform {

// Clears the Downloads folder of what broken-off downloads left that will
// never be resumed. Only the hub's own hidden partial files and their
// records are ever looked at.
class PartialCleanup
{
public:
    static constexpr std::chrono::hours MaximumAge{24 * 7};

    // Removes partial files last written before `now` minus a week, those
    // without a readable record and those whose URL is not in `offered`;
    // a file that a running download holds stays. Returns the names removed.
    static QStringList removeStale(const QString &directory, const QList<QUrl> &offered, const QDateTime &now);
};

} // namespace platform
