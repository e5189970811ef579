#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QTcpServer>
#include <QUrl>

#include <chrono>

// A small HTTP/1.1 server on 127.0.0.1 for network tests and the demo
// service: canned answers by exact path (the query is ignored), one request
// per connection, large bodies streamed with back-pressure. A body with an
// ETag honours "Range: bytes=N-" (206 with Content-Range), unless If-Range
// names another validator (then 200 with the whole body).
class LocalHttpService : public QObject
{
    Q_OBJECT

public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    // Every member has an initializer, so designated initializers may name any few.
    struct Route {
        int status = 200;
        QByteArray body{};
        Headers headers{};
        std::chrono::milliseconds delay{0};   // before anything is sent
        bool hang = false;                    // never answer
        qint64 chunkSize = 0;                 // >0: chunked, this many bytes per chunk
        std::chrono::milliseconds chunkInterval{0}; // pause between chunks
        qint64 generatedSize = -1;            // >=0: this many bytes of generatedBytes() instead of body
        QByteArray redirectTo{};              // Location; status 302 unless another is given
        qint64 truncateAfter = -1;            // >=0: close after this many body bytes
        QString file{};                       // the body is this file as it is when asked; 404 if missing
        QByteArray etag{};                    // ETag; file and generated bodies get one of their own
        qint64 bytesPerSecond = 0;            // >0: the body is paced to about this rate
    };

    // Https serves https://localhost with the tests' own certificate, which
    // this process then trusts.
    enum class Scheme { Http, Https };

    explicit LocalHttpService(Scheme scheme = Scheme::Http);

    // 127.0.0.1 only; port 0 picks a free one.
    bool listen(quint16 port = 0) { return m_server->isListening() || m_server->listen(QHostAddress::LocalHost, port); }
    QUrl baseUrl() const;
    QUrl url(const QString &path) const { QUrl result = baseUrl(); result.setPath(path); return result; }

    // Replaces whatever answered this path before.
    void setRoute(const QString &path, const Route &route) { m_routes.insert(path, route); }
    void setFile(const QString &path, const QString &filePath, const QByteArray &contentType = {});

    // Every request counts, known path or not.
    int requestCount(const QString &path) const { return m_counts.value(path); }
    int totalRequests() const { return m_total; }
    // A header of the last request for this path; empty when it had none.
    QByteArray lastRequestHeader(const QString &path, const QByteArray &name) const;

    // Bytes [offset, offset + length) of one endless stream in which no
    // 8-byte word repeats, so a body shifted or spliced never matches.
    static QByteArray generatedBytes(qint64 offset, qint64 length);

private:
    class Connection;

    const Scheme m_scheme;
    QTcpServer *m_server;
    QHash<QString, Route> m_routes;
    QHash<QString, int> m_counts;
    QHash<QString, QByteArray> m_lastHeads;
    int m_total = 0;
};

// Tests name it Route and pass it as test data.
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)
