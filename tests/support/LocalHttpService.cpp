#include "LocalHttpService.h"

#include "Files.h"

#include <QSslKey>
#include <QSslServer>
#include <QTimer>
#include <QtEndian>

using namespace std::chrono_literals;

namespace {

// Few enough blocks queued that memory stays flat whatever the body size.
constexpr qint64 BlockSize = 256 * 1024;
constexpr qint64 HighWater = 1024 * 1024;

// splitmix64's finaliser: cheap, and no two words of the stream are equal.
quint64 patternWord(quint64 index)
{
    quint64 z = (index + 1) * 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// Serves the tests' certificate, which every client of this process trusts.
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
        : QObject(service), m_service(service), m_socket(socket)
    {
        m_socket->setParent(this);
        // Slow bodies are many small writes; Nagle would hold them back.
        m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(m_socket, &QTcpSocket::readyRead, this, &Connection::readRequest);
        connect(m_socket, &QTcpSocket::bytesWritten, this, &Connection::pump);
        connect(m_socket, &QTcpSocket::disconnected, this, &QObject::deleteLater);
        connect(m_socket, &QTcpSocket::errorOccurred, this, &QObject::deleteLater);
        readRequest();
    }
    // The socket dies with us; it must not call back into a half-destroyed object.
    ~Connection() override { m_socket->disconnect(this); }

private:
    void readRequest()
    {
        m_head += m_socket->readAll();
        if (!m_head.contains("\r\n\r\n"))
            return;
        disconnect(m_socket, &QTcpSocket::readyRead, this, nullptr); // anything after the head is ignored
        // "GET /path?query HTTP/1.1"
        const QString path = QUrl::fromPercentEncoding(m_head.left(m_head.indexOf("\r\n")).split(' ').value(1).split('?')[0]);
        ++m_service->m_total;
        ++m_service->m_counts[path];
        m_service->m_lastHeads.insert(path, m_head.left(m_head.indexOf("\r\n\r\n") + 2));
        // A copy: the route may be replaced while we wait.
        m_route = m_service->m_routes.value(path, Route{.status = 404, .body = "No route for " + path.toUtf8() + '\n'});
        if (!m_route.hang)
            QTimer::singleShot(m_route.delay, this, &Connection::respond);
    }

    void respond()
    {
        Route &route = m_route;
        if (!route.file.isEmpty() && !QFile::exists(route.file))
            route = Route{.status = 404, .body = "File missing\n"};
        else if (!route.file.isEmpty())
            route.body = testfiles::read(route.file);
        m_size = route.generatedSize >= 0 ? route.generatedSize : route.body.size();
        if (route.etag.isEmpty() && !route.file.isEmpty())
            route.etag = '"' + QByteArray::number(m_size) + '-' + QByteArray::number(QFileInfo(route.file).lastModified().toMSecsSinceEpoch()) + '"';
        else if (route.etag.isEmpty() && route.generatedSize >= 0)
            route.etag = "\"generated-" + QByteArray::number(m_size) + '"';
        // Clients read the status code, never the reason phrase.
        int status = !route.redirectTo.isEmpty() && route.status == 200 ? 302 : route.status;
        const qint64 first = status == 200 && route.chunkSize == 0 ? rangeStart() : -1;
        if (first >= 0) {
            status = 206;
            m_sent = first;
        }
        const qint64 length = m_size - std::max<qint64>(first, 0);
        m_limit = route.truncateAfter >= 0 ? std::min(m_sent + route.truncateAfter, m_size) : m_size;
        QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + (status == 200 ? " OK" : " Status") + "\r\n";
        if (!route.redirectTo.isEmpty())
            head += "Location: " + route.redirectTo + "\r\n";
        if (!route.etag.isEmpty())
            head += "ETag: " + route.etag + "\r\n";
        if (first >= 0)
            head += "Content-Range: bytes " + QByteArray::number(first) + '-' + QByteArray::number(m_size - 1) + '/' + QByteArray::number(m_size) + "\r\n";
        head += route.chunkSize > 0 ? QByteArray("Transfer-Encoding: chunked\r\n") : "Content-Length: " + QByteArray::number(length) + "\r\n";
        for (const auto &[name, value] : route.headers)
            head += name + ": " + value + "\r\n";
        m_socket->write(head + "Connection: close\r\n\r\n");
        pump();
    }

    // Where a "Range: bytes=N-" the route can honour starts; -1 for the
    // whole body.
    qint64 rangeStart() const
    {
        QByteArray range, ifRange;
        for (const QByteArray &line : m_head.split('\n')) {
            const QByteArray name = line.left(line.indexOf(':')).trimmed().toLower();
            const QByteArray value = line.mid(line.indexOf(':') + 1).trimmed();
            if (name == "range")
                range = value;
            else if (name == "if-range")
                ifRange = value;
        }
        if (m_route.etag.isEmpty() || !range.startsWith("bytes=") || !range.endsWith('-') || (!ifRange.isEmpty() && ifRange != m_route.etag))
            return -1;
        bool ok = false;
        const qint64 first = range.mid(6, range.size() - 7).toLongLong(&ok);
        return ok && first >= 0 && first < m_size ? first : -1;
    }

    // Tops the socket's queue up to HighWater; called again on bytesWritten.
    void pump()
    {
        const qint64 chunk = m_route.chunkSize;
        const bool connected = m_socket->state() == QAbstractSocket::ConnectedState;
        while (connected && !m_pausing && m_sent < m_limit && m_socket->bytesToWrite() < HighWater) {
            qint64 length = std::min(BlockSize, m_limit - m_sent);
            if (m_route.bytesPerSecond > 0) {
                // A tenth of a second's worth, then a pause.
                length = std::min(length, std::max<qint64>(1, m_route.bytesPerSecond / 10));
                m_pausing = true;
                QTimer::singleShot(100ms, this, [this] { m_pausing = false; pump(); });
            }
            QByteArray out;
            if (chunk > 0) {
                // Sized from the whole body: a truncated answer breaks off
                // inside a chunk, which clients reliably see as an error.
                if (m_sent % chunk == 0)
                    out = QByteArray::number(std::min(chunk, m_size - m_sent), 16) + "\r\n";
                length = std::min(length, chunk - m_sent % chunk);
            }
            out += m_route.generatedSize >= 0 ? generatedBytes(m_sent, length) : m_route.body.mid(m_sent, length);
            m_sent += length;
            const bool chunkEnds = chunk > 0 && (m_sent % chunk == 0 || m_sent == m_size);
            m_socket->write(chunkEnds ? out + "\r\n" : out);
            if (chunkEnds && m_route.chunkInterval > 0ms && m_sent < m_limit) {
                m_pausing = true;
                QTimer::singleShot(m_route.chunkInterval, this, [this] { m_pausing = false; pump(); });
            }
        }
        if (!connected || m_sent < m_limit)
            return;
        if (chunk > 0 && m_sent == m_size)
            m_socket->write("0\r\n\r\n");
        m_socket->disconnectFromHost(); // after what is queued; a truncated body ends here too
    }

    LocalHttpService *m_service;
    QTcpSocket *m_socket;
    QByteArray m_head;
    Route m_route;
    qint64 m_size = 0;
    qint64 m_limit = 0;
    qint64 m_sent = 0;
    bool m_pausing = false;
};

LocalHttpService::LocalHttpService(Scheme scheme)
    : m_scheme(scheme)
    , m_server(scheme == Scheme::Https ? makeTlsServer(this) : new QTcpServer(this))
{
    connect(m_server, &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket *socket = m_server->nextPendingConnection())
            new Connection(socket, this);
    });
}

QUrl LocalHttpService::baseUrl() const
{
    QUrl url(m_scheme == Scheme::Https ? "https://localhost" : "http://127.0.0.1"); // the certificate names localhost
    url.setPort(m_server->serverPort());
    return url;
}

void LocalHttpService::setFile(const QString &path, const QString &filePath, const QByteArray &contentType)
{
    setRoute(path, Route{.headers = contentType.isEmpty() ? Headers() : Headers{{"Content-Type", contentType}}, .file = filePath});
}

QByteArray LocalHttpService::lastRequestHeader(const QString &path, const QByteArray &name) const
{
    for (const QByteArray &line : m_lastHeads.value(path).split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().compare(name, Qt::CaseInsensitive) == 0)
            return line.mid(colon + 1).trimmed();
    }
    return {};
}

QByteArray LocalHttpService::generatedBytes(qint64 offset, qint64 length)
{
    if (offset < 0 || length <= 0)
        return {};
    const qint64 first = offset / 8, words = (offset + length + 7) / 8 - first;
    QByteArray out(words * 8, Qt::Uninitialized);
    for (qint64 i = 0; i < words; ++i)
        qToLittleEndian(patternWord(quint64(first + i)), out.data() + 8 * i);
    return out.mid(offset % 8, length);
}
