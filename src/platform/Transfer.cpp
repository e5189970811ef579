#include "Transfer.h"

#include "DeleteLater.h"
#include "ServiceAddress.h"

#include <QCoroNetworkReply>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

namespace platform {
namespace {

// Keep at most this much of a body in memory; the rest waits in the socket.
constexpr qint64 ReadBufferSize = 1024 * 1024;
// As many as browsers follow.
constexpr int MaximumRedirects = 20;

// The error Qt files an answer under from its status alone (mirrors
// qhttpthreaddelegate.cpp). Any other error means the transfer failed.
QNetworkReply::NetworkError errorForStatus(int status)
{
    switch (status) {
    case 400: return QNetworkReply::ProtocolInvalidOperationError;
    case 401: return QNetworkReply::AuthenticationRequiredError;
    case 403: return QNetworkReply::ContentAccessDenied;
    case 404: return QNetworkReply::ContentNotFoundError;
    case 405: return QNetworkReply::ContentOperationNotPermittedError;
    case 407: return QNetworkReply::ProxyAuthenticationRequiredError;
    case 409: return QNetworkReply::ContentConflictError;
    case 410: return QNetworkReply::ContentGoneError;
    case 418: return QNetworkReply::ProtocolInvalidOperationError;
    case 500: return QNetworkReply::InternalServerError;
    case 501: return QNetworkReply::OperationNotImplementedError;
    case 503: return QNetworkReply::ServiceUnavailableError;
    default:
        if (status > 500)
            return QNetworkReply::UnknownServerError;
        if (status >= 400)
            return QNetworkReply::UnknownContentError;
        return QNetworkReply::NoError;
    }
}

QString durationText(std::chrono::milliseconds duration)
{
    using namespace std::chrono;
    if (duration >= hours(1) && duration % hours(1) == 0ms)
        return QStringLiteral("%1 h").arg(duration_cast<hours>(duration).count());
    if (duration >= minutes(1) && duration % minutes(1) == 0ms)
        return QStringLiteral("%1 min").arg(duration_cast<minutes>(duration).count());
    return QStringLiteral("%1 s").arg(double(duration.count()) / 1000.0, 0, 'g', 6);
}

// A transport failure in words a user understands.
QString describe(const QNetworkReply &reply, const TransferLimits &limits)
{
    const QString host = reply.url().host();
    switch (reply.error()) {
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("%1 refused the connection").arg(host);
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("the connection to %1 broke off").arg(host);
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("the server %1 was not found").arg(host);
    case QNetworkReply::TimeoutError:
        return QStringLiteral("connecting to %1 timed out").arg(host);
    case QNetworkReply::OperationCanceledError:
        // Nothing of ours stopped it: Qt's no-progress timer did.
        return QStringLiteral("timed out: nothing arrived for %1").arg(durationText(limits.stallTimeout));
    case QNetworkReply::SslHandshakeFailedError:
        return QStringLiteral("the secure connection to %1 failed: %2").arg(host, reply.errorString());
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return QStringLiteral("the network is unavailable");
    default:
        break;
    }
    if (reply.errorString().startsWith(QLatin1String("Decompression failed")))
        return QStringLiteral("the server sent a damaged compressed body");
    return reply.errorString();
}

QString sizeText(qint64 bytes)
{
    constexpr qint64 MiB = 1024 * 1024;
    if (bytes >= MiB && bytes % MiB == 0)
        return QStringLiteral("%1 MiB").arg(bytes / MiB);
    return QStringLiteral("%1 bytes").arg(bytes);
}

} // namespace

Transfer::Transfer(QNetworkAccessManager &network, QNetworkRequest request, TransferLimits limits, Sink sink,
                   QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_request(std::move(request))
    , m_limits(limits)
    , m_sink(std::move(sink))
{
}

Transfer::~Transfer()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
}

QCoro::Task<TransferResult> Transfer::run()
{
    m_hop = m_request.url();
    if (!links::isTrustedTransport(m_hop))
        co_return {Outcome::failure(QStringLiteral("refusing %1: use https, or http only for this machine").arg(m_hop.toString()))};

    QTimer deadline;
    if (m_limits.totalTimeout.count() > 0) {
        deadline.setSingleShot(true);
        connect(&deadline, &QTimer::timeout, this, [this] { stop(Stop::TimedOut); });
        deadline.start(m_limits.totalTimeout);
    }
    // Redirects are followed here rather than by Qt, so that every hop
    // passes the same rule (and because Qt 6.4 loses the answer after a
    // second automatic hop).
    for (int hops = 0;; ++hops) {
        const LaterPtr<QNetworkReply> reply(startHop());
        if (!reply->isFinished())
            co_await qCoro(reply.get()).waitForFinished();
        deliver();
        m_reply->disconnect(this);
        const std::optional<QUrl> next = m_stop == Stop::None ? redirectTarget() : std::nullopt;
        if (!next) {
            const TransferResult result = finish();
            m_reply = nullptr;
            co_return result;
        }
        m_reply = nullptr;
        if (!isAllowedHop(m_hop, *next)) {
            co_return {Outcome::failure(QStringLiteral("refusing a redirect to %1: only https, or http to this machine, "
                                                       "and never from https to http")
                                            .arg(next->toString()))};
        }
        if (hops + 1 >= MaximumRedirects)
            co_return {Outcome::failure(QStringLiteral("more than %1 redirects").arg(MaximumRedirects))};
        m_hop = *next;
    }
}

QNetworkReply *Transfer::startHop()
{
    QNetworkRequest request = m_request;
    request.setUrl(m_hop);
    request.setTransferTimeout(int(m_limits.stallTimeout.count()));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    m_reply = m_network.get(request);
    m_reply->setReadBufferSize(ReadBufferSize);
    m_received = 0;
    m_headSeen = false;
    connect(m_reply, &QNetworkReply::readyRead, this, &Transfer::deliver);
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64 total) {
        if (isRedirect())
            return;
        if (m_limits.maximumBytes >= 0 && total > m_limits.maximumBytes)
            stop(Stop::TooLarge);
        else
            emit progress(received, total);
    });
    return m_reply;
}

bool Transfer::isUnaskedEncoding() const
{
    if (m_request.rawHeader("Accept-Encoding") != "identity")
        return false;
    const QByteArray coding = m_reply->rawHeader("Content-Encoding").trimmed().toLower();
    return !coding.isEmpty() && coding != "identity";
}

bool Transfer::isRedirect() const
{
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const bool redirectStatus = status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
    return redirectStatus && m_reply->hasRawHeader("Location");
}

std::optional<QUrl> Transfer::redirectTarget() const
{
    if (!isRedirect())
        return std::nullopt;
    return m_hop.resolved(QUrl::fromEncoded(m_reply->rawHeader("Location")));
}

bool Transfer::isAllowedHop(const QUrl &from, const QUrl &to)
{
    const bool downgrade = from.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0
        && to.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) != 0;
    return to.isValid() && !downgrade && links::isTrustedTransport(to);
}

void Transfer::cancel()
{
    stop(Stop::Cancelled);
}

void Transfer::deliver()
{
    if (!m_reply || m_stop != Stop::None)
        return;
    if (isRedirect()) {
        if (m_reply->isOpen())
            m_reply->readAll(); // a redirect's own body is nobody's business
        return;
    }
    if (isUnaskedEncoding()) {
        stop(Stop::Encoded);
        return;
    }
    const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!m_headSeen && status.isValid() && status.toInt() >= 200) {
        m_headSeen = true;
        if (m_headCheck && !m_headCheck(*m_reply)) {
            stop(Stop::Refused);
            return;
        }
    }
    if (!m_reply->isOpen())
        return;
    const QByteArray chunk = m_reply->readAll();
    if (chunk.isEmpty())
        return;
    m_received += chunk.size();
    if (m_limits.maximumBytes >= 0 && m_received > m_limits.maximumBytes)
        stop(Stop::TooLarge);
    else if (!m_sink(chunk))
        stop(Stop::SinkFailed);
}

void Transfer::stop(Stop reason)
{
    if (m_stop != Stop::None || !m_reply)
        return;
    m_stop = reason;
    // Aborting finishes the reply at once, which resumes run() and may end
    // this object's owner; from the event loop, no caller is left on the stack.
    QMetaObject::invokeMethod(m_reply, &QNetworkReply::abort, Qt::QueuedConnection);
}

TransferResult Transfer::finish()
{
    TransferResult result;
    const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    result.httpStatus = status.isValid() ? status.toInt() : 0;
    switch (m_stop) {
    case Stop::Cancelled:
        result.cancelled = true;
        result.outcome = Outcome::failure(QStringLiteral("cancelled"));
        return result;
    case Stop::TooLarge:
        result.tooLarge = true;
        result.outcome = Outcome::failure(QStringLiteral("the answer is larger than the limit of %1").arg(sizeText(m_limits.maximumBytes)));
        return result;
    case Stop::SinkFailed:
        result.outcome = Outcome::failure(QStringLiteral("the answer could not be stored"));
        return result;
    case Stop::Refused:
        result.outcome = Outcome::failure(QStringLiteral("the answer was refused"));
        return result;
    case Stop::Encoded:
        result.outcome = Outcome::failure(QStringLiteral("the server compressed the file although it was asked not to"));
        return result;
    case Stop::TimedOut:
        result.outcome = Outcome::failure(QStringLiteral("timed out after %1").arg(durationText(m_limits.totalTimeout)));
        result.brokeOff = m_headSeen;
        return result;
    case Stop::None:
        break;
    }
    if (isUnaskedEncoding()) { // an encoded answer with an empty body
        result.outcome = Outcome::failure(QStringLiteral("the server compressed the file although it was asked not to"));
        return result;
    }
    if (!status.isValid() || m_reply->error() != errorForStatus(result.httpStatus)) {
        result.outcome = Outcome::failure(describe(*m_reply, m_limits));
        result.brokeOff = m_headSeen;
        return result;
    }
    // Qt can finish without any answer at all (status 100, its placeholder).
    if (result.httpStatus < 200) {
        result.outcome = Outcome::failure(QStringLiteral("%1 sent no answer").arg(m_hop.host()));
        return result;
    }
    const QVariant announced = m_reply->header(QNetworkRequest::ContentLengthHeader);
    if (announced.isValid() && announced.toLongLong() != m_received) {
        result.outcome = Outcome::failure(QStringLiteral("the answer broke off after %1 of %2 bytes")
                                              .arg(m_received)
                                              .arg(announced.toLongLong()));
        result.brokeOff = true;
        return result;
    }
    return result;
}

QCoro::Task<FetchedBody> fetchBody(QNetworkAccessManager &network, QNetworkRequest request, TransferLimits limits)
{
    QByteArray body;
    Transfer transfer(network, std::move(request), limits, [&body](const QByteArray &chunk) {
        body += chunk;
        return true;
    });
    const TransferResult result = co_await transfer.run();
    if (!result.outcome.ok())
        co_return {result.outcome, {}, result.tooLarge};
    if (result.httpStatus < 200 || result.httpStatus > 299)
        co_return {Outcome::failure(QStringLiteral("the server answered HTTP %1").arg(result.httpStatus)), {}, false};
    co_return {Outcome::success(), std::move(body), false};
}

} // namespace platform
