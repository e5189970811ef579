#include "Download.h"

#include "Transfer.h"

#include <QDir>
#include <QPointer>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

// A failed write in plain words.
QString describeWriteError(int error)
{
    switch (error) {
    case ENOSPC:
        return QStringLiteral("the disk is full");
    case EDQUOT:
        return QStringLiteral("the disk quota is used up");
    case EROFS:
        return QStringLiteral("the Downloads folder is read-only");
    case EACCES:
    case EPERM:
        return QStringLiteral("permission denied");
    default:
        return QString::fromLocal8Bit(std::strerror(error));
    }
}

// 0, or the errno of the write that failed.
int writeAll(int fd, const QByteArray &bytes)
{
    const char *data = bytes.constData();
    qsizetype left = bytes.size();
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

} // namespace

bool isSafeFileName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..")
        && !name.contains(u'/') && !name.contains(QChar(u'\0'));
}

QCoro::Task<DownloadResult> download(QNetworkAccessManager &network, QUrl url, QString fileName, QString directory,
                                     DownloadOptions options)
{
    const QPointer<DownloadControl> control = options.control;
    if (control && control->isCancelled())
        co_return {Outcome::failure(QStringLiteral("the download was cancelled")), {}};
    if (!isSafeFileName(fileName))
        co_return {Outcome::failure(QStringLiteral("no safe file name for the download")), {}};
    if (!QDir().mkpath(directory))
        co_return {Outcome::failure(QStringLiteral("cannot create %1").arg(directory)), {}};

    QTemporaryFile partial(directory + QStringLiteral("/.quillmarsh-hub-XXXXXX.part"));
    if (!partial.open())
        co_return {Outcome::failure(QStringLiteral("cannot write into %1: %2").arg(directory, partial.errorString())), {}};

    int writeError = 0;
    // Saved byte for byte as served: nothing is decompressed on the way, so
    // no damaged or inflated stream can stand in for an installer.
    QNetworkRequest request(url);
    request.setRawHeader("Accept-Encoding", "identity");
    Transfer transfer(network, request, options.limits, [&](const QByteArray &chunk) {
        writeError = writeAll(partial.handle(), chunk);
        return writeError == 0;
    });
    if (control) {
        QObject::connect(&transfer, &Transfer::progress, control, &DownloadControl::progress);
        QObject::connect(control, &DownloadControl::cancelRequested, &transfer, &Transfer::cancel);
    }
    const TransferResult result = co_await transfer.run();

    if (result.cancelled || (control && control->isCancelled()))
        co_return {Outcome::failure(QStringLiteral("the download was cancelled")), {}};
    if (writeError != 0)
        co_return {Outcome::failure(QStringLiteral("writing the download failed: %1").arg(describeWriteError(writeError))), {}};
    if (!result.outcome.ok())
        co_return {result.outcome, {}, result.tooLarge};
    if (::fsync(partial.handle()) != 0)
        co_return {Outcome::failure(QStringLiteral("writing the download failed: %1").arg(describeWriteError(errno))), {}};
    // Temporary files are private; a saved file gets the mode any other
    // new file in its folder would.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(partial.handle(), 0666 & ~mask);
    partial.close();
    if (options.check) {
        // The temporary file is still ours: removed on return if refused.
        if (const Outcome checked = options.check(partial.fileName()); !checked.ok())
            co_return {checked, {}};
    }

    // rename(2) replaces an older file of the same name in one step and
    // refuses to replace a folder.
    const QString destination = directory + u'/' + fileName;
    if (std::rename(QFile::encodeName(partial.fileName()).constData(), QFile::encodeName(destination).constData()) != 0)
        co_return {Outcome::failure(QStringLiteral("cannot save %1: %2").arg(destination, describeWriteError(errno))), {}};
    partial.setAutoRemove(false);
    co_return {Outcome::success(), destination};
}

} // namespace platform
