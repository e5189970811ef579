#include "LocalHttpService.h"

#include <QFile>
#include <QHostAddress>
#include <QMimeDatabase>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>

using namespace std::chrono_literals;

namespace {

// Blocks big enough to keep loopback busy, few enough queued that memory
// stays flat whatever the body size.
constexpr qint64 BlockSize = 256 * 1024;
constexpr qint64 HighWater = 1024 * 1024;
constexpr qsizetype MaxRequestHead = 64 * 1024;

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200: return "OK";
    case 201: return "Created";
    case 202: return "Accepted";
    case 204: return "No Content";
    case 206: return "Partial Content";
    case 301: return "Moved Permanently";
    case 302: return "Found";
    case 303: return "See Other";
    case 304: return "Not Modified";
    case 307: return "Temporary Redirect";
    case 308: return "Permanent Redirect";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 408: return "Request Timeout";
    case 410: return "Gone";
    case 429: return "Too Many Requests";
    case 431: return "Request Header Fields Too Large";
    case 500: return "Internal Server Error";
    case 502: return "Bad Gateway";
    case 503: return "Service Unavailable";
    case 504: return "Gateway Timeout";
    default: return "Status";
    }
}

// These statuses never carry a body, whatever the route says.
bool statusForbidsBody(int status)
{
    return (status >= 100 && status < 200) || status == 204 || status == 304;
}

bool hasHeader(const LocalHttpService::Headers &headers, const QByteArray &name)
{
    return std::any_of(headers.begin(), headers.end(), [&](const auto &header) {
        return header.first.compare(name, Qt::CaseInsensitive) == 0;
    });
}

// splitmix64's finaliser: cheap, and every 8-byte word differs, so a body
// shifted or spliced at the wrong offset never matches by accident.
quint64 patternWord(quint64 index)
{
    quint64 z = (index + 1) * 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

} // namespace

// One accepted socket: reads a request, answers it, closes.
class LocalHttpService::Connection : public QObject
{
public:
    Connection(QTcpSocket *socket, LocalHttpService *service)
        : QObject(service)
        , m_service(service)
        , m_socket(socket)
    {
        m_socket->setParent(this);
        // Slow bodies are many small writes; Nagle would hold them back.
        m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(m_socket, &QTcpSocket::readyRead, this, &Connection::readRequest);
        connect(m_socket, &QTcpSocket::bytesWritten, this, &Connection::pump);
        connect(m_socket, &QTcpSocket::disconnected, this, &Connection::drop);
        connect(m_socket, &QTcpSocket::errorOccurred, this, &Connection::drop);
        readRequest();
    }

    ~Connection() override
    {
        // The socket dies with us; it must not call back into a half-destroyed object.
        m_socket->disconnect(this);
    }

private:
    void readRequest()
    {
        if (m_requestRead) {
            m_socket->readAll(); // request bodies and anything after are ignored
            return;
        }
        m_buffer += m_socket->readAll();
        const qsizetype headEnd = findHeadEnd();
        if (headEnd < 0) {
            if (m_buffer.size() > MaxRequestHead) {
                m_requestRead = true;
                sendPlain(431, "Request head too large\n", false);
            }
            return;
        }
        m_requestRead = true;
        const QByteArray head = m_buffer.left(headEnd);
        m_buffer.clear();

        QList<QByteArray> lines = head.split('\n');
        for (QByteArray &line : lines) {
            if (line.endsWith('\r'))
                line.chop(1);
        }
        const QList<QByteArray> requestLine = lines.takeFirst().split(' ');
        if (requestLine.size() != 3 || requestLine[0].isEmpty() || !requestLine[2].startsWith("HTTP/1.")) {
            sendPlain(400, "Malformed request line\n", false);
            return;
        }
        Headers headers;
        for (const QByteArray &line : std::as_const(lines)) {
            const qsizetype colon = line.indexOf(':');
            if (colon <= 0) {
                sendPlain(400, "Malformed header line\n", false);
                return;
            }
            headers.append({line.left(colon).trimmed(), line.mid(colon + 1).trimmed()});
        }
        const QByteArray &target = requestLine[1];
        QString path;
        if (target.startsWith('/')) {
            path = QUrl::fromPercentEncoding(target.split('?').constFirst());
        } else if (target.startsWith("http://")) {
            path = QUrl::fromEncoded(target).path();
        } else {
            sendPlain(400, "Unsupported request target\n", false);
            return;
        }
        // Answered from the event loop rather than inside the socket's
        // signal, so slots of requestReceived may even delete the service.
        QMetaObject::invokeMethod(
            this, [this, method = requestLine[0], path, headers] { handleRequest(method, path, headers); },
            Qt::QueuedConnection);
    }

    // Index of the blank line ending the request head (bare LF tolerated), or -1.
    qsizetype findHeadEnd() const
    {
        for (qsizetype i = m_buffer.indexOf('\n'); i >= 0; i = m_buffer.indexOf('\n', i + 1)) {
            if (m_buffer.mid(i + 1, 1) == "\n" || m_buffer.mid(i + 1, 2) == "\r\n")
                return i;
        }
        return -1;
    }

    void handleRequest(const QByteArray &method, const QString &path, const Headers &headers)
    {
        const QPointer<Connection> self(this);
        LocalHttpService *service = m_service;
        ++service->m_total;
        ++service->m_counts[path];
        service->m_lastHeaders[path] = headers;
        emit service->requestReceived(path);
        if (!self || m_dropped)
            return;

        const bool head = method == "HEAD";
        if (method != "GET" && !head) {
            Route refusal{.status = 405, .body = "Only GET and HEAD are served\n"};
            refusal.headers = {{"Allow", "GET, HEAD"}, {"Content-Type", "text/plain"}};
            respond(refusal, {}, false);
            return;
        }
        const auto found = service->m_handlers.constFind(path);
        if (found == service->m_handlers.constEnd()) {
            sendPlain(404, "No route for " + path.toUtf8() + '\n', head);
            return;
        }
        const Handler handler = *found; // the route may be replaced while we wait
        if (handler.route.hang)
            return;
        if (handler.route.delay > 0ms) {
            QTimer::singleShot(handler.route.delay, this, [this, handler, head] {
                respond(handler.route, handler.filePath, head);
            });
        } else {
            respond(handler.route, handler.filePath, head);
        }
    }

    void sendPlain(int status, const QByteArray &body, bool head)
    {
        Route route{.status = status, .body = body};
        route.headers = {{"Content-Type", "text/plain; charset=utf-8"}};
        respond(route, {}, head);
    }

    void respond(const Route &route, const QString &filePath, bool headOnly)
    {
        if (m_dropped)
            return;
        int status = route.status;
        Headers defaults;

        if (!filePath.isEmpty()) {
            auto file = std::make_shared<QFile>(filePath);
            if (!file->open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
                sendPlain(404, "File missing: " + QFile::encodeName(filePath) + '\n', headOnly);
                return;
            }
            m_bodySize = file->size();
            m_read = [file](qint64 offset, qint64 length) {
                if (file->pos() != offset)
                    file->seek(offset);
                return file->read(length);
            };
        } else if (route.generatedSize >= 0) {
            m_bodySize = route.generatedSize;
            m_read = &LocalHttpService::generatedBytes;
        } else {
            m_bodySize = route.body.size();
            m_read = [body = route.body](qint64 offset, qint64 length) { return body.mid(offset, length); };
        }

        if (!route.redirectTo.isEmpty()) {
            if (status == 200)
                status = 302;
            defaults.emplaceBack("Location", route.redirectTo);
        }
        const bool bodyless = statusForbidsBody(status);
        m_chunkSize = bodyless ? 0 : route.chunkSize;
        m_chunkInterval = route.chunkInterval;
        if (m_chunkSize > 0)
            defaults.emplaceBack("Transfer-Encoding", "chunked");
        else if (!bodyless)
            defaults.emplaceBack("Content-Length", QByteArray::number(m_bodySize));
        defaults.emplaceBack("Connection", "close");

        QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
        for (const auto &[name, value] : std::as_const(defaults)) {
            if (!hasHeader(route.headers, name))
                head += name + ": " + value + "\r\n";
        }
        for (const auto &[name, value] : route.headers)
            head += name + ": " + value + "\r\n";
        head += "\r\n";
        m_socket->write(head);

        if (headOnly || bodyless) {
            m_bodySize = 0;
            m_chunkSize = 0; // not even the terminating chunk
        }
        m_limit = route.truncateAfter >= 0 ? std::min(route.truncateAfter, m_bodySize) : m_bodySize;
        m_streaming = true;
        pump();
    }

    // Tops the socket's queue up to HighWater; called again on bytesWritten.
    // Big chunks go out in BlockSize pieces too, so memory stays bounded.
    void pump()
    {
        if (!m_streaming || m_pausing || m_dropped)
            return;
        while (m_sent < m_limit && m_socket->bytesToWrite() < HighWater) {
            QByteArray framing;
            qint64 length = std::min(BlockSize, m_limit - m_sent);
            if (m_chunkSize > 0) {
                if (m_chunkLeft == 0) {
                    // Sized from the whole body: a truncated answer breaks off
                    // inside a chunk, which clients reliably see as an error.
                    m_chunkLeft = std::min(m_chunkSize, m_bodySize - m_sent);
                    framing = QByteArray::number(m_chunkLeft, 16) + "\r\n";
                }
                length = std::min(length, m_chunkLeft);
                m_chunkLeft -= length;
            }
            const QByteArray data = m_read(m_sent, length);
            if (data.size() != length) { // the file shrank under us: fail like a broken server
                drop();
                return;
            }
            m_sent += length;
            const bool chunkEnds = m_chunkSize > 0 && m_chunkLeft == 0;
            if (framing.isEmpty() && !chunkEnds) {
                m_socket->write(data); // shared, not copied
            } else {
                m_socket->write(framing + data + (chunkEnds ? "\r\n" : ""));
            }
            if (chunkEnds && m_chunkInterval > 0ms && m_sent < m_limit) {
                m_pausing = true;
                QTimer::singleShot(m_chunkInterval, this, [this] {
                    m_pausing = false;
                    pump();
                });
                return;
            }
        }
        if (m_sent >= m_limit)
            finish();
    }

    void finish()
    {
        m_streaming = false;
        if (m_chunkSize > 0 && m_sent == m_bodySize)
            m_socket->write("0\r\n\r\n");
        // Flushes what is queued, then closes; a truncated body ends here too.
        m_socket->disconnectFromHost();
    }

    void drop()
    {
        if (m_dropped)
            return;
        m_dropped = true;
        m_streaming = false;
        m_socket->abort();
        deleteLater();
    }

    LocalHttpService *m_service;
    QTcpSocket *m_socket;
    QByteArray m_buffer;
    bool m_requestRead = false;
    bool m_dropped = false;

    std::function<QByteArray(qint64 offset, qint64 length)> m_read;
    qint64 m_bodySize = 0;
    qint64 m_limit = 0;
    qint64 m_sent = 0;
    qint64 m_chunkSize = 0;
    qint64 m_chunkLeft = 0; // of the chunk being sent
    std::chrono::milliseconds m_chunkInterval{0};
    bool m_streaming = false;
    bool m_pausing = false;
};

LocalHttpService::LocalHttpService(QObject *parent)
    : QObject(parent)
    , m_server(new QTcpServer(this))
{
    connect(m_server, &QTcpServer::newConnection, this, &LocalHttpService::acceptConnections);
}

LocalHttpService::~LocalHttpService()
{
    m_server->close();
}

bool LocalHttpService::listen(quint16 port)
{
    if (m_server->isListening())
        return true;
    return m_server->listen(QHostAddress::LocalHost, port);
}

QUrl LocalHttpService::baseUrl() const
{
    QUrl url;
    url.setScheme(QStringLiteral("http"));
    url.setHost(QStringLiteral("127.0.0.1"));
    url.setPort(m_server->serverPort());
    return url;
}

QUrl LocalHttpService::url(const QString &path) const
{
    QUrl result = baseUrl();
    const qsizetype question = path.indexOf(u'?');
    result.setPath(routeKey(path));
    if (question >= 0)
        result.setQuery(path.mid(question + 1));
    return result;
}

void LocalHttpService::setRoute(const QString &path, const Route &route)
{
    m_handlers.insert(routeKey(path), Handler{route, {}});
}

void LocalHttpService::setFile(const QString &path, const QString &filePath, const QByteArray &contentType)
{
    Handler handler{{}, filePath};
    const QByteArray type = contentType.isEmpty()
        ? QMimeDatabase().mimeTypeForFile(filePath, QMimeDatabase::MatchExtension).name().toLatin1()
        : contentType;
    handler.route.headers = {{"Content-Type", type}};
    m_handlers.insert(routeKey(path), handler);
}

int LocalHttpService::requestCount(const QString &path) const
{
    return m_counts.value(routeKey(path));
}

int LocalHttpService::totalRequests() const
{
    return m_total;
}

QByteArray LocalHttpService::lastRequestHeader(const QString &path, const QByteArray &name) const
{
    const Headers headers = m_lastHeaders.value(routeKey(path));
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QByteArray LocalHttpService::generatedBytes(qint64 offset, qint64 length)
{
    if (offset < 0 || length <= 0)
        return {};
    QByteArray out(length, Qt::Uninitialized);
    char *p = out.data();
    char *const end = p + length;
    quint64 word = quint64(offset) / 8;
    qint64 skip = offset % 8;
    while (p < end) {
        const quint64 value = qToLittleEndian(patternWord(word++));
        const qint64 n = std::min<qint64>(8 - skip, end - p);
        std::memcpy(p, reinterpret_cast<const char *>(&value) + skip, size_t(n));
        p += n;
        skip = 0;
    }
    return out;
}

void LocalHttpService::acceptConnections()
{
    while (QTcpSocket *socket = m_server->nextPendingConnection())
        new Connection(socket, this);
}

QString LocalHttpService::routeKey(const QString &path)
{
    return path.section(u'?', 0, 0);
}
