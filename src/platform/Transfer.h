#pragma once

#include "Outcome.h"
#include "TransferLimits.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QNetworkRequest>
#include <QObject>

#include <functional>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

namespace platform {

struct TransferResult
{
    Outcome outcome;
    int httpStatus = 0;   // of the last hop; 0 when none arrived
    bool tooLarge = false;
    bool cancelled = false;
    // The answer stopped short (connection lost, nothing arrived in time,
    // fewer bytes than announced): what reached the sink is a true start
    // of the body.
    bool brokeOff = false;
};

// One GET under the rules every request of the hub follows, whatever it
// fetches:
// - every redirect hop must be https, or plain http to this machine, and
//   never from https to http;
// - the body may not grow past `maximumBytes`, counted as it arrives;
// - the transfer fails after `stallTimeout` without data and after
//   `totalTimeout` in all;
// - a body that broke off, or whose compression is damaged, fails; a
//   request that asks for `Accept-Encoding: identity` (files saved as they
//   are) fails on any encoded answer rather than keep compressed bytes.
// Bodies of every HTTP status reach the sink; what a status means is the
// caller's decision. The sink returns false to stop (a write failed).
class Transfer : public QObject
{
    Q_OBJECT

public:
    using Sink = std::function<bool(const QByteArray &chunk)>;
    // Sees the final answer's status and headers before any of its body
    // reaches the sink (also when the body is empty); false stops the
    // transfer.
    using HeadCheck = std::function<bool(const QNetworkReply &reply)>;

    Transfer(QNetworkAccessManager &network, QNetworkRequest request, TransferLimits limits, Sink sink,
             QObject *parent = nullptr);
    ~Transfer() override;

    void setHeadCheck(HeadCheck check) { m_headCheck = std::move(check); }

    // Runs once.
    QCoro::Task<TransferResult> run();

public slots:
    // Stops the transfer; run() then ends as cancelled.
    void cancel();

signals:
    // `total` is -1 while the server has not announced a length.
    void progress(qint64 received, qint64 total);

private:
    enum class Stop { None, Cancelled, TooLarge, SinkFailed, Refused, Encoded, TimedOut };

    QNetworkReply *startHop();
    bool isRedirect() const;
    bool isUnaskedEncoding() const;
    std::optional<QUrl> redirectTarget() const;
    static bool isAllowedHop(const QUrl &from, const QUrl &to);
    void deliver();
    void stop(Stop reason);
    TransferResult finish();

    QNetworkAccessManager &m_network;
    QNetworkRequest m_request;
    const TransferLimits m_limits;
    Sink m_sink;
    HeadCheck m_headCheck;
    bool m_headSeen = false;
    QNetworkReply *m_reply = nullptr;
    QUrl m_hop;
    Stop m_stop = Stop::None;
    qint64 m_received = 0;
};

struct FetchedBody
{
    Outcome outcome;
    QByteArray body;
    bool tooLarge = false;
};

// A whole body of a 2xx answer, held in memory up to `limits.maximumBytes`.
QCoro::Task<FetchedBody> fetchBody(QNetworkAccessManager &network, QNetworkRequest request, TransferLimits limits);

} // namespace platform
