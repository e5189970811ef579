#include "support/LocalHttpService.h"
#include "support/TestSandbox.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;

struct Fetched {
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    int status = 0;
    QByteArray body;
    QNetworkReply *reply = nullptr; // for headers and the final URL; lives as long as the test object
    int reads = 0;
    qint64 elapsedMs = 0;
};

class LocalHttpServiceTest : public QObject
{
    Q_OBJECT

    QNetworkAccessManager m_nam;
    std::unique_ptr<LocalHttpService> m_service;

    // abortAfter > 0: the client gives up once that many body bytes arrived.
    Fetched fetch(const QNetworkRequest &request, bool head = false, qint64 abortAfter = 0)
    {
        Fetched out;
        QElapsedTimer clock;
        clock.start();
        QNetworkReply *reply = out.reply = head ? m_nam.head(request) : m_nam.get(request);
        reply->setParent(this);
        connect(reply, &QNetworkReply::readyRead, this, [&] {
            out.body += reply->readAll();
            ++out.reads;
            if (abortAfter > 0 && out.body.size() >= abortAfter)
                reply->abort();
        });
        QSignalSpy finished(reply, &QNetworkReply::finished);
        if (!reply->isFinished() && !finished.wait(3000))
            qWarning("reply did not finish");
        disconnect(reply, &QNetworkReply::readyRead, this, nullptr);
        if (reply->isOpen())
            out.body += reply->readAll();
        out.error = reply->isFinished() ? reply->error() : QNetworkReply::UnknownNetworkError;
        out.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        out.elapsedMs = clock.elapsed();
        return out;
    }
    Fetched fetch(const QString &path) { return fetch(QNetworkRequest(m_service->url(path))); }

    // The raw answer to a hand-written request, read until the service closes.
    QByteArray exchange(const QByteArray &request)
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, quint16(m_service->baseUrl().port()));
        socket.write(request);
        QByteArray answer;
        connect(&socket, &QTcpSocket::readyRead, this, [&] { answer += socket.readAll(); });
        QSignalSpy(&socket, &QTcpSocket::disconnected).wait(2000);
        return answer + socket.readAll();
    }

private slots:
    void init()
    {
        m_service = std::make_unique<LocalHttpService>();
        QVERIFY(m_service->listen());
    }
    void cleanup() { m_service.reset(); }

    void answersWithRoute_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("ok") << 200 << QByteArray("{\"a\":1}");
        QTest::newRow("created, binary") << 201 << QByteArray("\0\r\n\r\n", 5);
        QTest::newRow("server error") << 503 << QByteArray("busy");
        QTest::newRow("no content") << 204 << QByteArray();
    }
    void answersWithRoute()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        m_service->setRoute("/r", {.status = status, .body = body, .headers = {{"Content-Type", "a/b"}, {"X-Trace", "t1"}}});
        const Fetched f = fetch("/r");
        QCOMPARE(f.status, status);
        QCOMPARE(f.body, body);
        QCOMPARE(f.reply->rawHeader("content-type"), "a/b");
        QCOMPARE(f.reply->rawHeader("X-Trace"), "t1");
        QCOMPARE(f.reply->rawHeader("Content-Length"), status == 204 ? QByteArray() : QByteArray::number(body.size()));

        const Fetched head = fetch(QNetworkRequest(m_service->url("/r")), true);
        QCOMPARE(head.status, status);
        QVERIFY(head.body.isEmpty());
    }

    void countsRequestsAndAnswersUnknownPaths()
    {
        m_service->setRoute("/a", {.body = "first"});
        QSignalSpy received(m_service.get(), &LocalHttpService::requestReceived);
        // A slot may still change the answer to the request being handled.
        connect(m_service.get(), &LocalHttpService::requestReceived, this, [this](const QString &path) {
            if (m_service->requestCount(path) == 2)
                m_service->setRoute(path, {.body = "second"});
        });
        QNetworkRequest probed(m_service->url("/a"));
        probed.setRawHeader("X-Probe", "p1");
        QCOMPARE(fetch(probed).body, "first");
        QCOMPARE(m_service->lastRequestHeader("/a", "x-probe"), "p1");
        QCOMPARE(fetch("/a?page=2").body, "second");
        const Fetched missing = fetch("/nowhere");
        QCOMPARE(missing.status, 404);
        QVERIFY(!missing.body.isEmpty());

        QCOMPARE(m_service->requestCount("/a"), 2);
        QCOMPARE(m_service->requestCount("/nowhere"), 1);
        QCOMPARE(m_service->totalRequests(), 3);
        QCOMPARE(received.size(), 3);
        QCOMPARE(received.at(1).at(0).toString(), "/a");
    }

    void delayAndHang_data()
    {
        QTest::addColumn<Route>("route");
        QTest::addColumn<int>("timeoutMs");
        QTest::newRow("delay within timeout") << Route{.body = "late", .delay = 150ms} << 1000;
        QTest::newRow("delay beyond timeout") << Route{.body = "late", .delay = 400ms} << 120;
        QTest::newRow("hang") << Route{.body = "late", .hang = true} << 120;
    }
    void delayAndHang()
    {
        QFETCH(Route, route);
        QFETCH(int, timeoutMs);
        m_service->setRoute("/slow", route);
        m_service->setRoute("/ok", {.body = "fine"});
        QNetworkRequest request(m_service->url("/slow"));
        request.setTransferTimeout(timeoutMs);
        // A held-back answer must not hold up other clients.
        std::unique_ptr<QNetworkReply> other(m_nam.get(QNetworkRequest(m_service->url("/ok"))));
        const Fetched f = fetch(request);
        QTRY_VERIFY(other->isFinished());
        QCOMPARE(other->readAll(), "fine");
        if (timeoutMs > route.delay.count() && !route.hang) {
            QCOMPARE(f.body, "late");
            QVERIFY(f.elapsedMs >= 140);
        } else {
            QCOMPARE(f.error, QNetworkReply::OperationCanceledError);
            QVERIFY(f.elapsedMs < 390);
        }
    }

    void hangEndsWithService()
    {
        m_service->setRoute("/stuck", {.hang = true});
        QSignalSpy received(m_service.get(), &LocalHttpService::requestReceived);
        std::unique_ptr<QNetworkReply> reply(m_nam.get(QNetworkRequest(m_service->url("/stuck"))));
        QVERIFY(received.wait(2000));
        m_service.reset();
        QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 2000);
        QVERIFY(reply->error() != QNetworkReply::NoError);
    }

    void redirectIsFollowed()
    {
        const QByteArray target = m_service->url("/new").toEncoded();
        m_service->setRoute("/old", {.redirectTo = target});
        m_service->setRoute("/moved", {.status = 301, .redirectTo = target});
        m_service->setRoute("/new", {.body = "moved here"});
        const Fetched followed = fetch("/old");
        QCOMPARE(followed.body, "moved here");
        QCOMPARE(followed.reply->url(), m_service->url("/new"));
        QVERIFY(exchange("GET /old HTTP/1.1\r\n\r\n").startsWith("HTTP/1.1 302 "));
        QVERIFY(exchange("GET /moved HTTP/1.1\r\n\r\n").contains("\r\nLocation: " + target + "\r\n"));
    }

    void streamedBodies_data()
    {
        const QByteArray text = "The quick brown fox jumps over the lazy dog";
        const qint64 big = 3 * 1024 * 1024 + 5;
        QTest::addColumn<Route>("route");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("slow chunks") << Route{.body = text, .chunkSize = 7, .chunkInterval = 20ms} << text;
        QTest::newRow("generated") << Route{.generatedSize = big} << LocalHttpService::generatedBytes(0, big);
        QTest::newRow("generated, chunked") << Route{.chunkSize = 100000, .generatedSize = big}
                                            << LocalHttpService::generatedBytes(0, big);
    }
    void streamedBodies()
    {
        QFETCH(Route, route);
        QFETCH(QByteArray, expected);
        m_service->setRoute("/s", route);
        const Fetched f = fetch("/s");
        QCOMPARE(f.error, QNetworkReply::NoError);
        QVERIFY(f.body == expected); // QCOMPARE would print megabytes
        QCOMPARE(f.reply->hasRawHeader("Content-Length"), route.chunkSize == 0);
        if (route.chunkInterval > 0ms) { // 6 pauses of 20 ms, body arriving piece by piece
            QVERIFY(f.elapsedMs >= 115);
            QVERIFY(f.reads >= 3);
        }
    }

    void generatedBytesSplitAnywhere_data()
    {
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<qint64>("split");
        QTest::newRow("within one word") << qint64(3) << qint64(4) << qint64(1);
        QTest::newRow("odd offset and split") << qint64(13) << qint64(1001) << qint64(333);
        QTest::newRow("beyond 4 GiB") << (qint64(1) << 33) + 5 << qint64(100) << qint64(50);
    }
    void generatedBytesSplitAnywhere()
    {
        QFETCH(qint64, offset);
        QFETCH(qint64, length);
        QFETCH(qint64, split);
        const QByteArray whole = LocalHttpService::generatedBytes(offset, length);
        QCOMPARE(whole.size(), length);
        QCOMPARE(LocalHttpService::generatedBytes(offset, split) + LocalHttpService::generatedBytes(offset + split, length - split), whole);
        QCOMPARE(LocalHttpService::generatedBytes(offset - 3, length + 3).mid(3), whole);
    }

    void generatedBytesDoNotRepeat()
    {
        // A short period would hide bodies sent from the wrong offset.
        const QByteArray bytes = LocalHttpService::generatedBytes(0, 12 * 1024);
        for (int shift = 1; shift <= 8 * 1024; ++shift)
            QVERIFY2(bytes.first(4096) != bytes.mid(shift, 4096), qPrintable(QString::number(shift)));
    }

    void truncation_data()
    {
        const QByteArray text(1000, 'x');
        QTest::addColumn<Route>("route");
        QTest::addColumn<QByteArray>("full");
        QTest::newRow("plain") << Route{.body = text, .truncateAfter = 100} << text;
        QTest::newRow("nothing") << Route{.body = text, .truncateAfter = 0} << text;
        QTest::newRow("generated") << Route{.generatedSize = 2 << 20, .truncateAfter = (1 << 20) + 3}
                                   << LocalHttpService::generatedBytes(0, 2 << 20);
        QTest::newRow("chunked") << Route{.body = text, .chunkSize = 64, .truncateAfter = 200} << text;
        QTest::newRow("limit past the end") << Route{.body = text, .truncateAfter = 5000} << text;
        QTest::newRow("chunked, limit at the end") << Route{.body = text, .chunkSize = 64, .truncateAfter = 1000} << text;
    }
    void truncation()
    {
        QFETCH(Route, route);
        QFETCH(QByteArray, full);
        m_service->setRoute("/t", route);
        const qint64 kept = std::min<qint64>(route.truncateAfter, full.size());
        const bool complete = kept == full.size();

        // On the wire: the full length announced, then exactly `kept` bytes.
        const QByteArray answer = exchange("GET /t HTTP/1.1\r\n\r\n");
        const qsizetype headEnd = answer.indexOf("\r\n\r\n") + 4;
        if (route.chunkSize > 0) {
            QCOMPARE(answer.endsWith("\r\n0\r\n\r\n"), complete);
        } else {
            QVERIFY(answer.left(headEnd).contains("Content-Length: " + QByteArray::number(full.size())));
            QVERIFY(answer.mid(headEnd) == full.left(kept));
        }

        // Qt's client reports a cut-off body as an error only when it reads
        // the close together with the data; otherwise the reply "succeeds"
        // short. Callers must compare the length themselves.
        const Fetched f = fetch("/t");
        QVERIFY(full.startsWith(f.body));
        QCOMPARE(f.body.size() == full.size(), complete);
        if (complete)
            QCOMPARE(f.error, QNetworkReply::NoError);
    }

    void servesFiles()
    {
        QTemporaryDir dir;
        const QByteArray content = LocalHttpService::generatedBytes(77, 1536 * 1024);
        QFile file(dir.filePath("payload.bin"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        m_service->setFile("/payload", file.fileName(), "application/x-test");
        m_service->setFile("/gone", dir.filePath("missing.bin"));

        const Fetched f = fetch("/payload");
        QCOMPARE(f.status, 200);
        QVERIFY(f.body == content);
        QCOMPARE(f.reply->rawHeader("Content-Type"), "application/x-test");
        QCOMPARE(fetch("/gone").status, 404);
    }

    void survivesClientsLeavingEarly()
    {
        m_service->setRoute("/huge", {.generatedSize = qint64(1) << 30});
        m_service->setRoute("/small", {.body = "still here"});
        const Fetched aborted = fetch(QNetworkRequest(m_service->url("/huge")), false, 2 << 20);
        QCOMPARE(aborted.error, QNetworkReply::OperationCanceledError);
        QVERIFY(aborted.body == LocalHttpService::generatedBytes(0, aborted.body.size()));

        // A client that never reads must not stall anyone else.
        QTcpSocket idle;
        idle.connectToHost(QHostAddress::LocalHost, quint16(m_service->baseUrl().port()));
        idle.write("GET /huge HTTP/1.1\r\n\r\n");
        QTRY_COMPARE(m_service->requestCount("/huge"), 2);
        QCOMPARE(fetch("/small").body, "still here");
    }

    void rawRequests_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("statusLine");
        QTest::newRow("bare newlines") << QByteArray("GET /a?q HTTP/1.0\n\n") << QByteArray("HTTP/1.1 200 OK");
        QTest::newRow("absolute target") << QByteArray("GET http://h/a HTTP/1.1\r\n\r\n") << QByteArray("HTTP/1.1 200 OK");
        QTest::newRow("no version") << QByteArray("GET /a\r\n\r\n") << QByteArray("HTTP/1.1 400 ");
        QTest::newRow("post") << QByteArray("POST /a HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc") << QByteArray("HTTP/1.1 405 ");
        QTest::newRow("endless head") << "GET /a HTTP/1.1\r\nX: " + QByteArray(70000, 'y') << QByteArray("HTTP/1.1 431 ");
    }
    void rawRequests()
    {
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, statusLine);
        m_service->setRoute("/a", {.body = "A"});
        const QByteArray answer = exchange(request);
        QVERIFY2(answer.startsWith(statusLine), answer.left(80).constData());
        QVERIFY(answer.contains("\r\nConnection: close\r\n"));
    }
};

HUB_TEST_MAIN(LocalHttpServiceTest)
#include "tst_localhttpservice.moc"
