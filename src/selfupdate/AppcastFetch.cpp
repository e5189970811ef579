#include "AppcastFetch.h"
#include "platform/DeleteLater.h"

#include "platform/HttpFetch.h"
#include "platform/ServiceAddress.h"

#include <QCoroNetworkReply>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <memory>

namespace selfupdate {
namespace {

constexpr int TransferTimeoutMs = 60 * 1000;
const auto TooLong = QStringLiteral("the answer is longer than %1 bytes");

} // namespace

QCoro::Task<CappedBody> fetchAtMost(QNetworkAccessManager &network, QUrl url, qint64 limit)
{
    QNetworkRequest request(url);
    request.setTransferTimeout(TransferTimeoutMs);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::UserVerifiedRedirectPolicy);
    const LaterPtr<QNetworkReply> reply(network.get(request));

    bool tooLong = false;
    bool untrustedRedirect = false;
    QObject::connect(reply.get(), &QNetworkReply::redirected, reply.get(), [&](const QUrl &target) {
        if (links::isTrustedTransport(target)) {
            emit reply->redirectAllowed();
        } else {
            untrustedRedirect = true;
            reply->abort();
        }
    });
    QObject::connect(reply.get(), &QNetworkReply::downloadProgress, reply.get(), [&](qint64 received, qint64 total) {
        if (!tooLong && (received > limit || total > limit)) {
            tooLong = true;
            reply->abort();
        }
    });
    co_await reply.get();

    if (tooLong)
        co_return {Outcome::failure(TooLong.arg(limit)), {}, true};
    if (untrustedRedirect)
        co_return {Outcome::failure(QStringLiteral("refusing a redirect away from https")), {}, false};
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        co_return {Outcome::failure(reply->errorString()), {}, false};
    const int code = status.toInt();
    if (code < 200 || code > 299)
        co_return {Outcome::failure(QStringLiteral("the server answered HTTP %1").arg(code)), {}, false};
    if (reply->error() != QNetworkReply::NoError)
        co_return {Outcome::failure(reply->errorString()), {}, false};
    QByteArray body = reply->readAll();
    if (body.size() > limit)
        co_return {Outcome::failure(TooLong.arg(limit)), {}, true};
    if (!platform::bodyIsComplete(*reply, body.size()))
        co_return {Outcome::failure(QStringLiteral("the answer broke off")), {}, false};
    co_return {Outcome::success(), std::move(body), false};
}

QCoro::Task<FetchedAppcast> fetchAppcast(QNetworkAccessManager &network, QUrl url)
{
    if (!url.isValid() || url.isRelative() || !links::isTrustedTransport(url))
        co_return {UpdateOutcome::failure(UpdateProblem::Configuration,
                                          QStringLiteral("refusing the appcast address %1").arg(url.toString())),
                   {}};
    const CappedBody fetched = co_await fetchAtMost(network, url, Appcast::MaximumSize);
    if (!fetched.outcome.ok()) {
        co_return {UpdateOutcome::failure(fetched.tooLong ? UpdateProblem::Feed : UpdateProblem::Network,
                                          QStringLiteral("fetching the appcast failed: ") + fetched.outcome.error),
                   {}};
    }
    QString error;
    auto appcast = Appcast::parse(fetched.body, &error);
    if (!appcast)
        co_return {UpdateOutcome::failure(UpdateProblem::Feed, error), {}};
    co_return {UpdateOutcome::success(), std::move(appcast)};
}

} // namespace selfupdate
