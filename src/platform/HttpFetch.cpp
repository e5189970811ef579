#include "HttpFetch.h"

#include <QCoroNetworkReply>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <memory>

namespace platform {

QCoro::Task<FetchedBody> fetchBody(QNetworkAccessManager &network, QNetworkRequest request)
{
    const std::unique_ptr<QNetworkReply> reply(network.get(request));
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
    co_return {Outcome::success(), reply->readAll()};
}

} // namespace platform
