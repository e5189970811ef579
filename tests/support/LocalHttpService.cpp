#include "LocalHttpService.h"

#include "Files.h"

#include <QFile>
#include <QHostAddress>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTimer>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <functional>

using namespace std::chrono_literals;

namespace {

// Blocks big enough to keep loopback busy, few enough queued that memory
// stays flat whatever the body size.
constexpr qint64 BlockSize = 256 * 1024;
constexpr qint64 HighWater = 1024 * 1024;

// splitmix64's finaliser: cheap, and every 8-byte word differs, so a body
// shifted or spliced at the wrong offset never matches by accident.
quint64 patternWord(quint64 index)
{
    quint64 z = (index + 1) * 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// The server's certificate and key, and the same certificate trusted by
// every client of this process.
QTcpServer *makeTlsServer(QObject *parent)
{
    const QSslCertificate certificate(testfiles::read(QStringLiteral(QUILLMARSH_HUB_TEST_TLS "/localhost.pem")));
    QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
    trusting.addCaCertificate(certificate);
    QSslConfiguration::setDefaultConfiguration(trusting);

    auto *server = new QSslServer(parent);
    QSslConfiguration serving = QSslConfiguration::defaultConfiguration();
    serving.setLocalCertificate(certificate);
    serving.setPrivateKey(QSslKey(testfiles::read(QStringLiteral(QUILLMARSH_HUB_TEST_TLS "/localhost.key")), QSsl::Ec));
    server->setSslConfiguration(serving);
    return server;
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
        m_head += m_socket->readAll();
        if (m_answering || !m_head.contains("\r\n\r\n"))
            return; // request bodies, and anything after the head, are ignored
        m_answering = true;
        // "GET /path?query HTTP/1.1"
        const QByteArray target = m_head.left(m_head.indexOf("\r\n")).split(' ').value(1);
        const QString path = QUrl::fromPercentEncoding(target.split('?').constFirst());
        ++m_service->m_total;
        ++m_service->m_counts[path];

        const auto found = m_service->m_handlers.constFind(path);
        if (found == m_service->m_handlers.constEnd()) {
            respond(Handler{Route{.status = 404, .body = "No route for " + path.toUtf8() + '\n'}, {}});
            return;
        }
        const Handler handler = *found; // the route may be replaced while we wait
        if (handler.route.hang)
            return;
        QTimer::singleShot(handler.route.delay, this, [this, handler] { respond(handler); });
    }

    void respond(const Handler &handler)
    {
        if (m_dropped)
            return;
        const Route &route = handler.route;
        QByteArray body = route.body;
        if (!handler.filePath.isEmpty()) {
            QFile file(handler.filePath);
            if (!file.open(QIODevice::ReadOnly)) {
                respond(Handler{Route{.status = 404, .body = "File missing\n"}, {}});
                return;
            }
            body = file.readAll();
        }
        if (route.generatedSize >= 0) {
            m_bodySize = route.generatedSize;
            m_read = &LocalHttpService::generatedBytes;
        } else {
            m_bodySize = body.size();
            m_read = [body](qint64 offset, qint64 length) { return body.mid(offset, length); };
        }

        // Clients read the status code, never the reason phrase.
        const int status = !route.redirectTo.isEmpty() && route.status == 200 ? 302 : route.status;
        QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + (status == 200 ? " OK" : " Status") + "\r\n";
        if (!route.redirectTo.isEmpty())
            head += "Location: " + route.redirectTo + "\r\n";
        m_chunkSize = route.chunkSize;
        m_chunkInterval = route.chunkInterval;
        head += m_chunkSize > 0 ? QByteArray("Transfer-Encoding: chunked\r\n")
                                : "Content-Length: " + QByteArray::number(m_bodySize) + "\r\n";
        for (const auto &[name, value] : route.headers)
            head += name + ": " + value + "\r\n";
        m_socket->write(head + "Connection: close\r\n\r\n");

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
            m_sent += length;
            const bool chunkEnds = m_chunkSize > 0 && m_chunkLeft == 0;
            m_socket->write(framing.isEmpty() && !chunkEnds ? data : framing + data + (chunkEnds ? "\r\n" : ""));
            if (chunkEnds && m_chunkInterval > 0ms && m_sent < m_limit) {
                m_pausing = true;
                QTimer::singleShot(m_chunkInterval, this, [this] {
                    m_pausing = false;
                    pump();
                });
                return;
            }
        }
        if (m_sent < m_limit)
            return;
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
    QByteArray m_head;
    bool m_answering = false;
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

LocalHttpService::LocalHttpService(Scheme scheme)
    : m_scheme(scheme)
    , m_server(scheme == Scheme::Https ? makeTlsServer(this) : new QTcpServer(this))
{
    connect(m_server, &QTcpServer::pendingConnectionAvailable, this, &LocalHttpService::acceptConnections);
}

LocalHttpService::~LocalHttpService()
{
    m_server->close();
}

bool LocalHttpService::listen(quint16 port)
{
    return m_server->isListening() || m_server->listen(QHostAddress::LocalHost, port);
}

QUrl LocalHttpService::baseUrl() const
{
    QUrl url;
    url.setScheme(m_scheme == Scheme::Https ? QStringLiteral("https") : QStringLiteral("http"));
    // The certificate names localhost.
    url.setHost(m_scheme == Scheme::Https ? QStringLiteral("localhost") : QStringLiteral("127.0.0.1"));
    url.setPort(m_server->serverPort());
    return url;
}

QUrl LocalHttpService::url(const QString &path) const
{
    QUrl result = baseUrl();
    result.setPath(path.section(u'?', 0, 0));
    if (path.contains(u'?'))
        result.setQuery(path.section(u'?', 1));
    return result;
}

void LocalHttpService::setRoute(const QString &path, const Route &route)
{
    m_handlers.insert(path, Handler{route, {}});
}

void LocalHttpService::setFile(const QString &path, const QString &filePath, const QByteArray &contentType)
{
    const Headers headers = contentType.isEmpty() ? Headers() : Headers{{"Content-Type", contentType}};
    m_handlers.insert(path, Handler{Route{.headers = headers}, filePath});
}

int LocalHttpService::requestCount(const QString &path) const
{
    return m_counts.value(path);
}

int LocalHttpService::totalRequests() const
{
    return m_total;
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
