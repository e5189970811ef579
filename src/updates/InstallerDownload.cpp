#include "InstallerDownload.h"
#include "platform/DeleteLater.h"

#include "platform/HttpFetch.h"

#include <QCoroNetworkReply>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>

namespace installers {
namespace {

// Without progress for this long, a transfer is given up.
constexpr int StallTimeoutMs = 60 * 1000;

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

// Whether the whole body arrived, whatever HTTP status came with it.
bool transferCompleted(const QNetworkReply &reply)
{
    if (!reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid())
        return false;
    const int error = reply.error();
    const bool httpStatusError = (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError)
        || (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError);
    return error == QNetworkReply::NoError || httpStatusError;
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

    QNetworkRequest request(url);
    request.setTransferTimeout(StallTimeoutMs);
    const LaterPtr<QNetworkReply> reply(network.get(request));
    // Keep at most this much in memory; the rest waits in the socket.
    reply->setReadBufferSize(1024 * 1024);
    if (control) {
        QObject::connect(reply.get(), &QNetworkReply::downloadProgress, control, &DownloadControl::progress);
        QObject::connect(control, &DownloadControl::cancelRequested, reply.get(), &QNetworkReply::abort);
    }
    bool writeFailed = false;
    bool tooLarge = false;
    qint64 written = 0;
    QObject::connect(reply.get(), &QNetworkReply::readyRead, reply.get(), [&] {
        const QByteArray chunk = reply->readAll();
        if (writeFailed || tooLarge)
            return;
        if (options.sizeLimit >= 0 && written + chunk.size() > options.sizeLimit) {
            tooLarge = true;
            reply->abort();
        } else if (partial.write(chunk) != chunk.size()) {
            writeFailed = true;
            reply->abort();
        }
        written += chunk.size();
    });
    co_await qCoro(reply.get()).waitForFinished();

    if (control && control->isCancelled())
        co_return {Outcome::failure(QStringLiteral("the download was cancelled")), {}};
    if (tooLarge)
        co_return {Outcome::failure(QStringLiteral("the download is larger than %1 bytes").arg(options.sizeLimit)), {}, true};
    if (writeFailed)
        co_return {Outcome::failure(QStringLiteral("writing the installer failed: %1").arg(partial.errorString())), {}};
    if (!transferCompleted(*reply))
        co_return {Outcome::failure(reply->errorString()), {}};
    // The status is not examined: an error page is saved like any body.
    const QByteArray rest = reply->readAll();
    if (options.sizeLimit >= 0 && written + rest.size() > options.sizeLimit)
        co_return {Outcome::failure(QStringLiteral("the download is larger than %1 bytes").arg(options.sizeLimit)), {}, true};
    if (partial.write(rest) != rest.size() || !partial.flush())
        co_return {Outcome::failure(QStringLiteral("writing the installer failed: %1").arg(partial.errorString())), {}};
    if (!platform::bodyIsComplete(*reply, partial.size()))
        co_return {Outcome::failure(QStringLiteral("the download broke off")), {}};
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
        co_return {Outcome::failure(QStringLiteral("cannot save %1: %2").arg(destination, QString::fromLocal8Bit(std::strerror(errno)))), {}};
    partial.setAutoRemove(false);
    co_return {Outcome::success(), destination};
}

} // namespace installers
