#include "support/LocalHttpService.h"
#include "support/TestSandbox.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)

// What the other tests rely on beyond plain routes: hangs that hold up no
// other client, slow chunked bodies, cut-off bodies and request counting.
class LocalHttpServiceTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data()
    {
        QTest::addColumn<Route>("route");
        QTest::addColumn<int>("status"); // 0: no answer within the client's 300 ms
        QTest::addColumn<int>("atLeastMs");
        QTest::newRow("hang") << Route{.body = "text", .hang = true} << 0 << 0;
        QTest::newRow("slow chunks") << Route{.body = "0123456789abcdef", .chunkSize = 3, .chunkInterval = 20ms} << 200 << 95;
        QTest::newRow("cut off") << Route{.body = "0123456789abcdef", .truncateAfter = 10} << 200 << 0;
    }
    void answers()
    {
        QFETCH(Route, route);
        QFETCH(int, atLeastMs);
        LocalHttpService service;
        QVERIFY(service.listen());
        service.setRoute("/r", route);
        service.setRoute("/ok", {.body = "fine"});
        QNetworkAccessManager nam;
        QNetworkRequest request(service.url("/r"));
        request.setTransferTimeout(300);
        QElapsedTimer clock;
        clock.start();
        std::unique_ptr<QNetworkReply> reply(nam.get(request));
        std::unique_ptr<QNetworkReply> other(nam.get(QNetworkRequest(service.url("/ok")))); // served meanwhile
        QTRY_VERIFY(other->isFinished());
        QCOMPARE(other->readAll(), "fine");
        QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 5000);
        QVERIFY(clock.elapsed() >= atLeastMs);
        QTEST(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), "status");
        const QByteArray received = reply->isOpen() ? reply->readAll() : QByteArray();
        const qsizetype expected = route.hang ? 0 : route.truncateAfter >= 0 ? 10 : route.body.size();
        QVERIFY(route.body.startsWith(received) && received.size() <= expected && (route.truncateAfter >= 0 || received.size() == expected));
        QCOMPARE(service.requestCount("/r"), 1);
        QCOMPARE(service.totalRequests(), 2);
    }
};

HUB_TEST_MAIN(LocalHttpServiceTest)
#include "tst_localhttpservice.moc"
