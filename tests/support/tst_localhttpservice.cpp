#include "support/LocalHttpService.h"
#include "support/TestSandbox.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QtTest>

#include <memory>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)

// The test service itself, for what the other tests rely on: canned routes,
// delays and hangs that hold up no other client, slow chunked bodies,
// redirects, large generated bodies, cut-off bodies and request counting.
class LocalHttpServiceTest : public QObject
{
    Q_OBJECT

    QNetworkAccessManager m_nam;

private slots:
    void initTestCase() { m_nam.setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy); }

    void answers_data()
    {
        const QByteArray text = "The quick brown fox jumps over the lazy dog";
        const qint64 big = 3 * 1024 * 1024 + 5;
        const QByteArray generated = LocalHttpService::generatedBytes(0, big);
        QTest::addColumn<QString>("path");
        QTest::addColumn<Route>("route");
        QTest::addColumn<int>("timeoutMs"); // the client's transfer timeout; 0: none
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body"); // all of it, even when cut off
        QTest::addColumn<int>("atLeastMs");
        QTest::newRow("status and binary body") << "/r" << Route{.status = 503, .body = QByteArray("\0\r\n\r\n", 5)} << 0 << 503
                                                << QByteArray("\0\r\n\r\n", 5) << 0;
        QTest::newRow("unknown path") << "/nowhere" << Route{} << 0 << 404 << QByteArray("No route for /nowhere\n") << 0;
        QTest::newRow("query ignored") << "/r?page=2" << Route{.body = text} << 0 << 200 << text << 0;
        QTest::newRow("delay within timeout") << "/r" << Route{.body = text, .delay = 150ms} << 1000 << 200 << text << 140;
        QTest::newRow("delay beyond timeout") << "/r" << Route{.body = text, .delay = 400ms} << 120 << 0 << QByteArray() << 0;
        QTest::newRow("hang") << "/r" << Route{.body = text, .hang = true} << 120 << 0 << QByteArray() << 0;
        QTest::newRow("slow chunks") << "/r" << Route{.body = text, .chunkSize = 7, .chunkInterval = 20ms} << 0 << 200
                                     << text << 115;
        QTest::newRow("redirect") << "/r" << Route{.redirectTo = "/moved"} << 0 << 200 << QByteArray("moved here") << 0;
        QTest::newRow("generated") << "/r" << Route{.generatedSize = big} << 0 << 200 << generated << 0;
        QTest::newRow("cut off") << "/r" << Route{.body = text, .truncateAfter = 10} << 0 << 200 << text << 0;
        QTest::newRow("cut off, chunked") << "/r" << Route{.body = text, .chunkSize = 4, .truncateAfter = 10} << 0 << 200
                                          << text << 0;
    }
    void answers()
    {
        QFETCH(QString, path);
        QFETCH(Route, route);
        QFETCH(int, timeoutMs);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(int, atLeastMs);
        LocalHttpService service;
        QVERIFY(service.listen());
        service.setRoute("/r", route);
        service.setRoute("/moved", {.body = "moved here"});
        service.setRoute("/ok", {.body = "fine"});

        QNetworkRequest request(service.url(path));
        request.setRawHeader("X-Probe", "p1");
        request.setTransferTimeout(timeoutMs);
        QElapsedTimer clock;
        clock.start();
        std::unique_ptr<QNetworkReply> reply(m_nam.get(request));
        const bool heldBack = route.delay > 0ms || route.hang;
        if (heldBack) { // other clients are served meanwhile
            std::unique_ptr<QNetworkReply> other(m_nam.get(QNetworkRequest(service.url("/ok"))));
            QTRY_VERIFY(other->isFinished());
            QCOMPARE(other->readAll(), "fine");
        }
        QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 5000);
        QVERIFY(clock.elapsed() >= atLeastMs);
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), status);
        if (status == 0)
            QCOMPARE(reply->error(), QNetworkReply::OperationCanceledError);
        // Qt's client may or may not report a cut-off body as an error, so
        // the tests that cut bodies off compare lengths.
        const QByteArray received = reply->isOpen() ? reply->readAll() : QByteArray();
        if (route.truncateAfter >= 0)
            QVERIFY(body.startsWith(received) && received.size() <= route.truncateAfter);
        else
            QVERIFY(received == body); // QCOMPARE would print megabytes
        if (route.chunkSize == 0 && status != 0) // the full length is announced, even when cut off
            QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(body.size()));

        const QString routeKey = path.section('?', 0, 0);
        QTRY_COMPARE(service.requestCount(routeKey), 1);
        QCOMPARE(service.lastRequestHeader(routeKey, "x-probe"), "p1");
        QTRY_COMPARE(service.totalRequests(), 1 + int(heldBack) + int(!route.redirectTo.isEmpty()));
    }
};

HUB_TEST_MAIN(LocalHttpServiceTest)
#include "tst_localhttpservice.moc"
