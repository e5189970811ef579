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

// A small HTTP/1.1 server on 127.0.0.1 for network tests and the demo
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
        Headers headers{};                    // extra response headers; one named like a default
                                              // (Content-Length, Content-Type, Connection) replaces it
        std::chrono::milliseconds delay{0};   // wait before sending anything
        bool hang = false;                    // accept the request, never answer (until the service is destroyed)
        qint64 chunkSize = 0;                 // >0: Transfer-Encoding: chunked, this many bytes per chunk
        std::chrono::milliseconds chunkInterval{0}; // pause between chunks (slow bodies)
        qint64 generatedSize = -1;            // >=0: body is this many bytes of generatedBytes(), streamed
        QByteArray redirectTo{};              // non-empty: answer `status` (302 if status is 200) with Location
        qint64 truncateAfter = -1;            // >=0: announce the full length, close after this many body bytes
                                              // (when chunked, best not on a chunk boundary: some clients
                                              // accept a body that ends after a whole chunk)
    };

    explicit LocalHttpService(QObject *parent = nullptr);
    ~LocalHttpService() override;

    // 127.0.0.1 only; port 0 picks a free one. Returns success.
    bool listen(quint16 port = 0);
    QUrl baseUrl() const;                   // http://127.0.0.1:<port>
    QUrl url(const QString &path) const;    // a "?query" in path becomes the URL's query

    // Replaces whatever answered this path before.
    void setRoute(const QString &path, const Route &route);
    // Streams the file as it is on disk when requested; 404 if it is missing by
    // then. An empty content type is guessed from the file name.
    void setFile(const QString &path, const QString &filePath, const QByteArray &contentType = {});

    // Every well-formed request counts, known path or not.
    int requestCount(const QString &path) const;
    int totalRequests() const;
    // A header of the latest request to path (case-insensitive name), or null.
    QByteArray lastRequestHeader(const QString &path, const QByteArray &name) const;

    // The deterministic, non-repeating bytes behind Route::generatedSize:
    // bytes [offset, offset + length) of one endless stream.
    static QByteArray generatedBytes(qint64 offset, qint64 length);

signals:
    // Emitted once a request has been read, before its route is looked up:
    // a connected slot may still change what this very request gets.
    void requestReceived(const QString &path);

private:
    class Connection;

    struct Handler {
        Route route;
        QString filePath; // non-empty: body comes from this file
    };

    void acceptConnections();
    static QString routeKey(const QString &path);

    QTcpServer *m_server = nullptr;
    QHash<QString, Handler> m_handlers;
    QHash<QString, int> m_counts;
    QHash<QString, Headers> m_lastHeaders;
    int m_total = 0;
};
