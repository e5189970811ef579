#include "HttpFetch.h"
#include "platform/DeleteLater.h"

#include <QCoroNetworkReply>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <memory>

namespace platform {

bool bodyIsComplete(const QNetworkReply &reply, qint64 received)
{
    const QVariant announced = reply.header(QNetworkRequest::ContentLengthHeader);
    return !announced.isValid() || announced.toLongLong() == received;
}

QCoro::Task<FetchedBody> fetchBody(QNetworkAccessManager &network, QNetworkRequest request)
{
    const LaterPtr<QNetworkReply> reply(network.get(request));
    co_await reply.get();

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        co_return {Outcome::failure(reply->errorString()), {}};
    const int code = status.toInt();
    if (code < 200 || code > 299)
        co_return {Outcome::failure(QStringLiteral("the server answered HTTP %1").arg(code)), {}};
    // A 2xx whose body broke off is a transport failure too.
    if (reply->error() != QNetworkReply::NoError)
        co_return {Outcome::failure(reply->errorString()), {}};
    QByteArray body = reply->readAll();
    if (!bodyIsComplete(*reply, body.size()))
        co_return {Outcome::failure(QStringLiteral("the answer broke off")), {}};
    co_return {Outcome::success(), std::move(body)};
}

} // namespace platform
