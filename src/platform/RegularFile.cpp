#include "RegularFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

struct Descriptor {
    int fd;
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

// The reason is worked out only for a caller that asks for it: probing
// installs meets missing files by the thousand.
std::optional<QByteArray> refuse(QString *why, int error)
{
    if (why)
        *why = QString::fromLocal8Bit(std::strerror(error));
    return std::nullopt;
}

std::optional<QByteArray> refuse(QString *why, const char *reason)
{
    if (why)
        *why = QString::fromLatin1(reason);
    return std::nullopt;
}

std::optional<QByteArray> tooLarge(QString *why, qint64 limit)
{
    if (why)
        *why = QStringLiteral("larger than %1 bytes").arg(limit);
    return std::nullopt;
}

} // namespace

std::optional<QByteArray> readRegularFile(const QString &path, qint64 limit, QString *why)
{
    return readRegularFile(QFile::encodeName(path).constData(), limit, why);
}

std::optional<QByteArray> readRegularFile(const char *path, qint64 limit, QString *why)
{
    // O_NONBLOCK: opening a FIFO must not wait for a writer. The type is
    // checked on the opened descriptor, so a swapped path cannot slip by.
    const Descriptor file{::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    if (file.fd < 0)
        return refuse(why, errno);
    struct stat status {};
    if (::fstat(file.fd, &status) != 0)
        return refuse(why, errno);
    if (!S_ISREG(status.st_mode))
        return refuse(why, "not a regular file");
    if (status.st_size > limit)
        return tooLarge(why, limit);

    // The size can change while we read: read one byte past the limit to see.
    QByteArray bytes(qsizetype(std::min<qint64>(status.st_size, limit)) + 1, Qt::Uninitialized);
    qsizetype filled = 0;
    for (;;) {
        if (filled == bytes.size()) {
            if (filled > limit)
                return tooLarge(why, limit);
            bytes.resize(std::min<qint64>(limit + 1, qint64(filled) * 2));
        }
        const ssize_t count = ::read(file.fd, bytes.data() + filled, size_t(bytes.size() - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return refuse(why, errno);
        if (count == 0)
            break;
        filled += count;
    }
    bytes.truncate(filled);
    return bytes;
}

} // namespace platform
