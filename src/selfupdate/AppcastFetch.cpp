#include "AppcastFetch.h"

#include "platform/ServiceAddress.h"
#include "platform/Transfer.h"

namespace selfupdate {

QCoro::Task<FetchedAppcast> fetchAppcast(QNetworkAccessManager &network, QUrl url, platform::TransferLimits limits)
{
    if (!url.isValid() || url.isRelative() || !links::isTrustedTransport(url))
        co_return {UpdateOutcome::failure(UpdateProblem::Configuration,
                                          QStringLiteral("refusing the appcast address %1").arg(url.toString())),
                   {}};
    const platform::FetchedBody fetched = co_await platform::fetchBody(network, QNetworkRequest(url), limits);
    if (!fetched.outcome.ok()) {
        co_return {UpdateOutcome::failure(fetched.tooLarge ? UpdateProblem::Feed : UpdateProblem::Network,
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
