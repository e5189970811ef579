#include "PartialCleanup.h"

#include "RegularFile.h"
#include "ResumeRecord.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

// Whether a running download (of any process) holds the file.
bool isHeld(const QByteArray &path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return false;
    const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0;
    ::close(fd);
    return held;
}

} // namespace

QStringList PartialCleanup::removeStale(const QString &directory, const QList<QUrl> &offered, const QDateTime &now)
{
    QSet<QString> offeredText;
    for (const QUrl &url : offered)
        offeredText.insert(QString::fromUtf8(url.toEncoded()));
    const qint64 oldest = now.addSecs(-std::chrono::seconds(MaximumAge).count()).toSecsSinceEpoch();

    QStringList removed;
    const auto remove = [&](const QString &name) {
        if (QFile::remove(directory + u'/' + name))
            removed << name;
    };
    const QStringList names = QDir(directory).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    for (const QString &name : names) {
        if (!ResumeRecord::isHubPartialName(name))
            continue;
        const QByteArray path = QFile::encodeName(directory + u'/' + name);
        struct stat partial {};
        if (::lstat(path.constData(), &partial) != 0 || !S_ISREG(partial.st_mode) || isHeld(path))
            continue;
        const QString recordName = ResumeRecord::recordNameOfPartial(name);
        const auto bytes = readRegularFile(directory + u'/' + recordName, ResumeRecord::MaximumSize);
        const auto record = bytes ? ResumeRecord::decode(*bytes) : std::nullopt;
        if (record && offeredText.contains(record->url) && partial.st_mtime >= oldest)
            continue;
        remove(name);
        remove(recordName);
    }
    // Records whose partial file is gone.
    for (const QString &name : names) {
        if (ResumeRecord::isHubRecordName(name) && !QFileInfo::exists(directory + u'/' + ResumeRecord::partialNameOfRecord(name)))
            remove(name);
    }
    return removed;
}

} // namespace platform
