#pragma once

#include "Outcome.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QNetworkRequest>

class QNetworkAccessManager;
class QNetworkReply;

namespace platform {

struct FetchedBody
{
    Outcome outcome;
    QByteArray body;
};

// Qt can finish a reply whose connection closed early without an error, so
// the body's size is checked against the announced length.
bool bodyIsComplete(const QNetworkReply &reply, qint64 received);

// GET and wait for the whole body. Fails on transport errors and on any
// status outside 200 to 299.
QCoro::Task<FetchedBody> fetchBody(QNetworkAccessManager &network, QNetworkRequest request);

} // namespace platform
