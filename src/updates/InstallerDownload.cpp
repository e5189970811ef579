#include "InstallerDownload.h"

#include "platform/Transfer.h"

#include <QDir>
#include <QPointer>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace installers {
namespace {

QString lastPathComponent(const QUrl &url)
{
    // Split the encoded path, so an escaped slash stays inside its component
    // and is caught below once decoded.
    QString path = url.path(QUrl::FullyEncoded);
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    if (path == QLatin1String("/"))
        return path;
    return QUrl::fromPercentEncoding(path.section(u'/', -1).toUtf8());
}

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

std::optional<QString> fileName(const QUrl &url, const QString &pluginId)
{
    const QString component = lastPathComponent(url);
    if (isSafeFileName(component))
        return component;
    const QString fallback = pluginId + QStringLiteral(".dmg");
    if (isSafeFileName(fallback))
        return fallback;
    return std::nullopt;
}

QCoro::Task<DownloadResult> download(QNetworkAccessManager &network, QUrl url, QString fileName,
                                     QString downloadsDirectory, DownloadOptions options)
{
    const QPointer<DownloadControl> control = options.control;
    if (control && control->isCancelled())
        co_return {Outcome::failure(QStringLiteral("the download was cancelled")), {}};
    if (!isSafeFileName(fileName))
        co_return {Outcome::failure(QStringLiteral("no safe file name for the installer")), {}};
    if (!QDir().mkpath(downloadsDirectory))
        co_return {Outcome::failure(QStringLiteral("cannot create %1").arg(downloadsDirectory)), {}};

    QTemporaryFile partial(downloadsDirectory + QStringLiteral("/.quillmarsh-hub-XXXXXX.part"));
    if (!partial.open())
        co_return {Outcome::failure(QStringLiteral("cannot write into %1: %2").arg(downloadsDirectory, partial.errorString())), {}};

    int writeError = 0;
    // Installers are saved byte for byte as served: nothing is decompressed
    // on the way, so no damaged or inflated stream can stand in for one.
    QNetworkRequest request(url);
    request.setRawHeader("Accept-Encoding", "identity");
    platform::Transfer transfer(network, request, options.limits, [&](const QByteArray &chunk) {
        writeError = writeAll(partial.handle(), chunk);
        return writeError == 0;
    });
    if (control) {
        QObject::connect(&transfer, &platform::Transfer::progress, control, &DownloadControl::progress);
        QObject::connect(control, &DownloadControl::cancelRequested, &transfer, &platform::Transfer::cancel);
    }
    const platform::TransferResult result = co_await transfer.run();

    if (result.cancelled || (control && control->isCancelled()))
        co_return {Outcome::failure(QStringLiteral("the download was cancelled")), {}};
    if (writeError != 0)
        co_return {Outcome::failure(QStringLiteral("writing the installer failed: %1").arg(describeWriteError(writeError))), {}};
    if (!result.outcome.ok())
        co_return {result.outcome, {}, result.tooLarge};
    if (::fsync(partial.handle()) != 0)
        co_return {Outcome::failure(QStringLiteral("writing the installer failed: %1").arg(describeWriteError(errno))), {}};
    // Temporary files are private; a saved installer gets the mode any
    // other new file in Downloads would.
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
    const QString destination = downloadsDirectory + u'/' + fileName;
    if (std::rename(QFile::encodeName(partial.fileName()).constData(), QFile::encodeName(destination).constData()) != 0)
        co_return {Outcome::failure(QStringLiteral("cannot save %1: %2").arg(destination, describeWriteError(errno))), {}};
    partial.setAutoRemove(false);
    co_return {Outcome::success(), destination};
}

} // namespace installers
