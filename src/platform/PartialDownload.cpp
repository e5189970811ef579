#include "PartialDownload.h"

#include "RegularFile.h"
#include "ResumeRecord.h"

#include <QCryptographicHash>
#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <algorithm>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr qint64 ReadBlock = 1024 * 1024;

// 0, or the errno of the write that failed.
int writeAll(int fd, const char *data, qint64 left)
{
    while (left > 0) {
        const ssize_t written = ::write(fd, data, size_t(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return written < 0 ? errno : ENOSPC;
        data += written;
        left -= written;
    }
    return 0;
}

QByteArray encoded(const QString &path)
{
    return QFile::encodeName(path);
}

} // namespace

PartialDownload::PartialDownload(QString directory, QUrl url)
    : m_directory(std::move(directory))
    , m_url(std::move(url))
{
}

PartialDownload::~PartialDownload()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

QString PartialDownload::path() const
{
    return m_directory + u'/' + ResumeRecord::partialFileName(m_url);
}

QString PartialDownload::recordPath() const
{
    return m_directory + u'/' + ResumeRecord::recordFileName(m_url);
}

bool PartialDownload::open(QString *why)
{
    const QByteArray name = encoded(path());
    // Never through a link: every byte stays inside the folder.
    m_fd = ::open(name.constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    struct stat opened {};
    if (m_fd < 0 || ::fstat(m_fd, &opened) != 0 || !S_ISREG(opened.st_mode)) {
        *why = QStringLiteral("cannot write into %1: %2").arg(m_directory, QString::fromLocal8Bit(std::strerror(m_fd < 0 ? errno : EISDIR)));
        return false;
    }
    // Two downloads of one URL would write into one file; the hold is
    // released by the kernel however this process ends.
    struct stat named {};
    if (::flock(m_fd, LOCK_EX | LOCK_NB) != 0 || ::lstat(name.constData(), &named) != 0 || named.st_ino != opened.st_ino) {
        *why = QStringLiteral("the same file is already being downloaded");
        ::close(m_fd);
        m_fd = -1;
        return false;
    }
    m_size = opened.st_size;
    const auto stored = readRegularFile(recordPath(), ResumeRecord::MaximumSize);
    const auto record = stored ? ResumeRecord::decode(*stored) : std::nullopt;
    if (record && record->url == QString::fromUtf8(m_url.toEncoded()) && m_size > 0) {
        m_resumable = m_size;
        m_validator = record->validator;
    }
    return true;
}

int PartialDownload::restart(const QByteArray &validator)
{
    // The old record goes first: a file cut short must never be paired
    // with a validator it does not belong to.
    removeRecord();
    m_resumable = 0;
    m_validator.clear();
    if (::ftruncate(m_fd, 0) != 0 || ::lseek(m_fd, 0, SEEK_SET) != 0)
        return errno;
    m_size = 0;
    if (validator.isEmpty())
        return 0;
    const QByteArray record = ResumeRecord{QString::fromUtf8(m_url.toEncoded()), validator}.encode();
    const int fd = ::open(encoded(recordPath()).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno;
    const int error = writeAll(fd, record.constData(), record.size());
    ::close(fd);
    if (error == 0)
        m_validator = validator;
    return error;
}

int PartialDownload::continueInto(QCryptographicHash *hash)
{
    if (::lseek(m_fd, 0, SEEK_SET) != 0)
        return errno;
    QByteArray block(hash ? ReadBlock : 0, Qt::Uninitialized);
    for (qint64 left = hash ? m_resumable : 0; left > 0;) {
        const ssize_t got = ::read(m_fd, block.data(), size_t(std::min(left, ReadBlock)));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got < 0 ? errno : EIO;
        hash->addData(QByteArrayView(block.constData(), got));
        left -= got;
    }
    // Anything past what was offered is not part of this answer.
    if (::ftruncate(m_fd, m_resumable) != 0 || ::lseek(m_fd, m_resumable, SEEK_SET) != m_resumable)
        return errno;
    m_size = m_resumable;
    return 0;
}

int PartialDownload::append(const QByteArray &bytes)
{
    const int error = writeAll(m_fd, bytes.constData(), bytes.size());
    if (error == 0)
        m_size += bytes.size();
    return error;
}

int PartialDownload::commit(const QString &destination)
{
    // rename(2) replaces an older file of the same name in one step and
    // refuses to replace a folder.
    if (std::rename(encoded(path()).constData(), encoded(destination).constData()) != 0)
        return errno;
    removeRecord();
    return 0;
}

void PartialDownload::discard()
{
    removeRecord();
    ::unlink(encoded(path()).constData());
}

void PartialDownload::removeRecord() const
{
    ::unlink(encoded(recordPath()).constData());
}

} // namespace platform
