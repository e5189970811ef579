#pragma once

#include "Appcast.h"
#include "UpdateProblem.h"
#include "platform/TransferLimits.h"

#include <QCoro/QCoroTask>
#include <QUrl>

#include <optional>

class QNetworkAccessManager;

namespace selfupdate {

struct FetchedAppcast
{
    UpdateOutcome outcome;
    std::optional<Appcast> appcast;
};

// Downloads and parses the appcast within `limits`.
QCoro::Task<FetchedAppcast> fetchAppcast(QNetworkAccessManager &network, QUrl url, platform::TransferLimits limits);

} // namespace selfupdate
