#pragma once

#include "Appcast.h"
#include "UpdateProblem.h"
#include "platform/Outcome.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QUrl>

#include <optional>

class QNetworkAccessManager;

namespace selfupdate {

struct CappedBody
{
    Outcome outcome;
    QByteArray body;
    bool tooLong; // the failure was the cap
};

// GET with a cap: the transfer is abandoned as soon as the body (or its
// announced length) passes `limit` bytes. Status 200 to 299 only; every
// redirect must keep to https, or http to a loopback host.
QCoro::Task<CappedBody> fetchAtMost(QNetworkAccessManager &network, QUrl url, qint64 limit);

struct FetchedAppcast
{
    UpdateOutcome outcome;
    std::optional<Appcast> appcast;
};

// Downloads and parses the appcast, at most Appcast::MaximumSize bytes.
QCoro::Task<FetchedAppcast> fetchAppcast(QNetworkAccessManager &network, QUrl url);

} // namespace selfupdate
