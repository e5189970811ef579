#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QUrl>

#include <chrono>

class QTcpServer;

// A small HTTP/1.1 server on this machine for network tests and the demo
// service. Routes are canned answers keyed by exact path (the query is
// ignored); each response closes its connection. Everything runs on the
// event loop, and large bodies are streamed with back-pressure.
class LocalHttpService : public QObject
{
    Q_OBJECT

public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    // Every member has an initializer, so designated initializers such as
    // Route{.body = "x", .delay = 50ms} compile without warnings.
    struct Route {
        int status = 200;
        QByteArray body{};                    // sent as-is
        Headers headers{};                    // extra response headers
        std::chrono::milliseconds delay{0};   // wait before sending anything
        bool hang = false;                    // accept the request, never answer (until the service is destroyed)
        qint64 chunkSize = 0;                 // >0: Transfer-Encoding: chunked, this many bytes per chunk
        std::chrono::milliseconds chunkInterval{0}; // pause between chunks (slow bodies)
        qint64 generatedSize = -1;            // >=0: body is this many bytes of generatedBytes(), streamed
        QByteArray redirectTo{};              // non-empty: answer `status` (302 if status is 200) with Location
        qint64 truncateAfter = -1;            // >=0: announce the full length, close after this many body bytes
    };

    // Https serves https://localhost with the tests' own certificate, which
    // this process then trusts.
    enum class Scheme { Http, Https };

    explicit LocalHttpService(Scheme scheme = Scheme::Http);
    ~LocalHttpService() override;

    // 127.0.0.1 only; port 0 picks a free one. Returns success.
    bool listen(quint16 port = 0);
    QUrl baseUrl() const;                   // http://127.0.0.1:<port> or https://localhost:<port>
    QUrl url(const QString &path) const;    // a "?query" in path becomes the URL's query

    // Replaces whatever answered this path before.
    void setRoute(const QString &path, const Route &route);
    // Serves the file as it is on disk when requested; 404 if it is missing
    // by then.
    void setFile(const QString &path, const QString &filePath, const QByteArray &contentType = {});

    // Every request counts, known path or not.
    int requestCount(const QString &path) const;
    int totalRequests() const;

    // The deterministic, non-repeating bytes behind Route::generatedSize:
    // bytes [offset, offset + length) of one endless stream.
    static QByteArray generatedBytes(qint64 offset, qint64 length);

private:
    class Connection;

    struct Handler {
        Route route;
        QString filePath; // non-empty: body comes from this file
    };

    void acceptConnections();

    const Scheme m_scheme;
    QTcpServer *m_server;
    QHash<QString, Handler> m_handlers;
    QHash<QString, int> m_counts;
    int m_total = 0;
};
