#include "Download.h"

#include "ContentRange.h"
#include "PartialDownload.h"
#include "ResumeRecord.h"
#include "Transfer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocale>
#include <QNetworkReply>
#include <QPointer>

#include <cerrno>
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

QString bytesText(qint64 bytes)
{
    return QLocale(QLocale::English).toString(bytes);
}

QString sizeMismatch(qint64 size, qint64 expected)
{
    return QStringLiteral("the file is %1 bytes, the feed says %2").arg(bytesText(size), bytesText(expected));
}

// Takes one answer into the partial file and checks it, as it arrives,
// against what the publisher says of the file.
class Receiver
{
public:
    Receiver(PartialDownload &partial, const DownloadOptions &options, qint64 offered)
        : m_partial(partial)
        , m_options(options)
        , m_control(options.control)
        , m_offered(offered)
    {
    }

    // The server's part does not continue the file: ask for all of it.
    bool restartWanted = false;
    bool headSeen = false;
    int writeError = 0;
    QString refusal;

    bool head(const QNetworkReply &reply)
    {
        headSeen = true;
        const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (m_offered > 0 && (status == 206 || status == 416)) {
            const auto range = parseContentRange(reply.rawHeader("Content-Range"));
            if (status == 416 || !range || !continuesFile(*range, reply)) {
                restartWanted = true;
                return false;
            }
            if ((writeError = m_partial.continueInto(hashing() ? &m_hash : nullptr)) != 0)
                return false;
            m_total = range->complete;
        } else if (status == 206) {
            refusal = QStringLiteral("the server sent part of the file without being asked");
            return false;
        } else {
            // The whole body, whatever the status; only a 200 is worth resuming.
            m_hash.reset();
            const QByteArray validator = status == 200
                ? ResumeRecord::validatorOf(reply.rawHeader("ETag"), reply.rawHeader("Last-Modified"))
                : QByteArray();
            if ((writeError = m_partial.restart(validator)) != 0)
                return false;
            const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
            m_total = length.isValid() ? length.toLongLong() : -1;
        }
        // An announced length already tells how the size check will end.
        if (m_options.expectedSize && m_total >= 0 && m_total != *m_options.expectedSize) {
            refusal = sizeMismatch(m_total, *m_options.expectedSize);
            return false;
        }
        report();
        return true;
    }

    bool chunk(const QByteArray &bytes)
    {
        if ((writeError = m_partial.append(bytes)) != 0)
            return false;
        if (hashing())
            m_hash.addData(bytes);
        if (m_options.expectedSize && m_partial.size() > *m_options.expectedSize) {
            refusal = QStringLiteral("the file is longer than the %1 bytes the feed says").arg(bytesText(*m_options.expectedSize));
            return false;
        }
        report();
        return true;
    }

    // The complete file against the publisher's size and digest.
    Outcome verify() const
    {
        if (m_options.expectedSize && m_partial.size() != *m_options.expectedSize)
            return Outcome::failure(sizeMismatch(m_partial.size(), *m_options.expectedSize));
        if (m_options.expectedSha256 && m_hash.result() != *m_options.expectedSha256)
            return Outcome::failure(QStringLiteral("the file's SHA-256 does not match the feed"));
        return Outcome::success();
    }

private:
    // Digests cost time; only a published one is worth computing.
    bool hashing() const { return m_options.expectedSha256.has_value(); }

    // The rest of the file the partial one began, with the same validator.
    bool continuesFile(const ContentRange &range, const QNetworkReply &reply) const
    {
        const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
        const QByteArray &validator = m_partial.validator();
        const QByteArray echoed = reply.rawHeader(validator.startsWith('"') ? "ETag" : "Last-Modified").trimmed();
        return range.first == m_offered && (range.complete < 0 || range.last == range.complete - 1)
            && (!length.isValid() || length.toLongLong() == range.length()) && (echoed.isEmpty() || echoed == validator);
    }

    void report()
    {
        if (m_control)
            emit m_control->progress(m_partial.size(), m_total);
    }

    PartialDownload &m_partial;
    const DownloadOptions &m_options;
    const QPointer<DownloadControl> m_control;
    const qint64 m_offered;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    qint64 m_total = -1;
};

QNetworkRequest requestFor(const QUrl &url, const PartialDownload &partial, qint64 offered)
{
    QNetworkRequest request(url);
    // Saved byte for byte as served: nothing is decompressed on the way, so
    // no damaged or inflated stream can stand in for an installer.
    request.setRawHeader("Accept-Encoding", "identity");
    if (offered > 0) {
        // If-Range: a file changed on the server comes back whole.
        request.setRawHeader("Range", "bytes=" + QByteArray::number(offered) + '-');
        request.setRawHeader("If-Range", partial.validator());
    }
    return request;
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

    PartialDownload partial(directory, url);
    if (QString why; !partial.open(&why))
        co_return {Outcome::failure(why), {}};

    TransferResult result;
    std::optional<Receiver> receiver;
    for (qint64 offered = partial.resumableSize();; offered = 0) {
        receiver.emplace(partial, options, offered);
        TransferLimits limits = options.limits;
        // The ceiling is the whole file's, resumed or not.
        if (limits.maximumBytes >= 0)
            limits.maximumBytes = std::max<qint64>(0, limits.maximumBytes - offered);
        Transfer transfer(network, requestFor(url, partial, offered), limits,
                          [&](const QByteArray &chunk) { return receiver->chunk(chunk); });
        transfer.setHeadCheck([&](const QNetworkReply &reply) { return receiver->head(reply); });
        if (control)
            QObject::connect(control, &DownloadControl::cancelRequested, &transfer, &Transfer::cancel);
        result = co_await transfer.run();
        if (!receiver->restartWanted || offered == 0 || (control && control->isCancelled()))
            break;
        receiver->writeError = partial.restart(QByteArray());
        if (receiver->writeError != 0)
            break;
    }

    const auto failed = [&](const Outcome &outcome, bool tooLarge = false) {
        partial.discard();
        return DownloadResult{outcome, {}, tooLarge};
    };
    if (result.cancelled || (control && control->isCancelled()))
        co_return failed(Outcome::failure(QStringLiteral("the download was cancelled")));
    if (receiver->writeError != 0)
        co_return failed(Outcome::failure(QStringLiteral("writing the download failed: %1").arg(describeWriteError(receiver->writeError))));
    if (!receiver->refusal.isEmpty())
        co_return failed(Outcome::failure(receiver->refusal));
    if (!result.outcome.ok()) {
        // What arrived before the break stays, hidden, when the server
        // said how to ask for the rest; untouched when nothing arrived.
        const bool intact = result.brokeOff || !receiver->headSeen;
        if (intact && !result.tooLarge && partial.size() > 0 && !partial.validator().isEmpty())
            co_return {result.outcome, {}, false};
        co_return failed(result.outcome, result.tooLarge);
    }
    if (const Outcome verified = receiver->verify(); !verified.ok())
        co_return failed(verified);
    if (::fsync(partial.handle()) != 0)
        co_return failed(Outcome::failure(QStringLiteral("writing the download failed: %1").arg(describeWriteError(errno))));
    // Partial files are private; a saved file gets the mode any other new
    // file in its folder would.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(partial.handle(), 0666 & ~mask);
    if (options.check) {
        if (const Outcome checked = options.check(partial.path()); !checked.ok())
            co_return failed(checked);
    }

    const QString destination = directory + u'/' + fileName;
    if (const int error = partial.commit(destination); error != 0)
        co_return failed(Outcome::failure(QStringLiteral("cannot save %1: %2").arg(destination, describeWriteError(error))));
    co_return {Outcome::success(), destination};
}

} // namespace platform
