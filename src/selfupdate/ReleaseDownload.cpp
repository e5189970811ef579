#include "ReleaseDownload.h"

#include "SignatureVerifier.h"
#include "platform/Download.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>

namespace selfupdate {

QString releaseFileName(const AppcastItem &item)
{
    const QString component = item.url.fileName(QUrl::FullyDecoded);
    if (platform::isSafeFileName(component))
        return component;
    QString version = item.comparableVersion();
    version.replace(u'/', u'-').remove(QChar(u'\0'));
    return QStringLiteral("QuillmarshHub-") + version;
}

QCoro::Task<VerifiedDownload> downloadRelease(QNetworkAccessManager &network, AppcastItem item,
                                              QString downloadsDirectory, const SignatureVerifier &verifier,
                                              platform::TransferLimits limits, platform::DownloadControl *control)
{
    if (downloadsDirectory.isEmpty())
        co_return {UpdateOutcome::failure(UpdateProblem::Storage, QStringLiteral("the desktop names no Downloads folder")), {}};

    // The caller's control may go away while the transfer runs; this one
    // stays, and reports progress against the appcast's length.
    platform::DownloadControl watch;
    QPointer<platform::DownloadControl> caller(control);
    QObject::connect(&watch, &platform::DownloadControl::progress, &watch, [&](qint64 received, qint64) {
        if (caller)
            emit caller->progress(std::min(received, item.length), item.length);
    });
    if (caller)
        QObject::connect(caller, &platform::DownloadControl::cancelRequested, &watch, &platform::DownloadControl::cancel);
    if (caller && caller->isCancelled())
        watch.cancel();

    UpdateProblem refusal = UpdateProblem::None;
    platform::DownloadOptions options;
    options.control = &watch;
    // The appcast names the length; nothing longer is wanted.
    limits.maximumBytes = limits.maximumBytes < 0 ? item.length : std::min(limits.maximumBytes, item.length);
    options.limits = limits;
    options.check = [&](const QString &path) {
        if (QFileInfo(path).size() != item.length) {
            refusal = UpdateProblem::Length;
            return Outcome::failure(QStringLiteral("the package has %1 bytes, the appcast says %2")
                                        .arg(QFileInfo(path).size())
                                        .arg(item.length));
        }
        if (!verifier.verifyFile(path, item.edSignature)) {
            refusal = UpdateProblem::Signature;
            return Outcome::failure(QStringLiteral("the package's signature does not verify with the update key"));
        }
        return Outcome::success();
    };

    const platform::DownloadResult result = co_await platform::download(
        network, item.url, releaseFileName(item), downloadsDirectory, std::move(options));
    if (result.outcome.ok())
        co_return {UpdateOutcome::success(), result.savedPath};

    UpdateProblem problem = refusal;
    if (watch.isCancelled())
        problem = UpdateProblem::Cancelled;
    else if (problem == UpdateProblem::None)
        problem = result.tooLarge ? UpdateProblem::Length : UpdateProblem::Transfer;
    co_return {UpdateOutcome::failure(problem, result.outcome.error), {}};
}

} // namespace selfupdate
