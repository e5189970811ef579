#pragma once

#include "Outcome.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QNetworkRequest>

class QNetworkAccessManager;

namespace platform {

struct FetchedBody
{
    Outcome outcome;
    QByteArray body;
};

// GET and wait for the whole body. Fails on transport errors and on any
// status outside 200 to 299.
QCoro::Task<FetchedBody> fetchBody(QNetworkAccessManager &network, QNetworkRequest request);

} // namespace platform
