#include "platform/ServiceAddress.h"
#include "platform/Transfer.h"
#include "support/LocalHttpService.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QNetworkAccessManager>
#include <QtTest>

using namespace std::chrono_literals;
using platform::TransferLimits;

constexpr qint64 Limit = 64 * 1024;
const TransferLimits Tight{Limit, 300ms, 600ms};

// Where the hub may connect, and the rules every request goes through,
// tried as a hostile or broken service would. Limits are shrunk so that
// nothing waits for real.
class NetworkTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    QNetworkAccessManager network;

    platform::FetchedBody fetch(const QString &path, TransferLimits limits = Tight)
    {
        return QCoro::waitFor(platform::fetchBody(network, QNetworkRequest(service.url(path)), limits));
    }

private slots:
    void initTestCase() { QVERIFY(service.listen()); }

    // Plain http only to this machine (the command-line test runs against
    // 127.0.0.1); nothing that would lose the base path.
    void serviceAddress_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("https") << "https://api.quillmarsh.example" << true;
        QTest::newRow("http localhost") << "http://localhost:9" << true;
        QTest::newRow("http remote") << "http://api.quillmarsh.example" << false;
        QTest::newRow("http lookalike") << "http://127.0.0.1.evil.example" << false;
        QTest::newRow("ftp") << "ftp://127.0.0.1" << false;
        QTest::newRow("query") << "https://a.example/?x=1" << false;
    }
    void serviceAddress()
    {
        QFETCH(QString, text);
        QFETCH(bool, accepted);
        QString error;
        QCOMPARE(ServiceAddress::parse(text, &error).has_value(), accepted);
        QCOMPARE(error.isEmpty(), accepted);
    }

    void serviceEndpoints()
    {
        const auto address = ServiceAddress::parse("https://staging.example/hub/");
        QCOMPARE(address->catalogURL(), QUrl("https://staging.example/hub/api/hub/products"));
        QCOMPARE(address->versionsURL(), QUrl("https://staging.example/hub/api/plugin-versions"));
        // The environment must hold a usable address; the option wins over it.
        qputenv(ServiceAddress::EnvironmentVariable, "http://remote.example");
        QVERIFY(!ServiceAddress::resolve(std::nullopt));
        QCOMPARE(ServiceAddress::resolve(QString("https://b.example"))->base(), QUrl("https://b.example"));
        qunsetenv(ServiceAddress::EnvironmentVariable);
        QCOMPARE(ServiceAddress::resolve(std::nullopt)->base(), ServiceAddress::defaultBase());
    }

    // Each ends as a failure naming its cause, within the limits, holding
    // no more than the limit.
    void hostileBodies_data()
    {
        QTest::addColumn<Route>("route");
        QTest::addColumn<QString>("cause");
        QTest::addColumn<bool>("tooLarge");
        QTest::newRow("announced too long") << Route{.body = QByteArray(Limit + 1, 'x')} << "larger than the limit" << true;
        QTest::newRow("endless chunked") << Route{.chunkSize = 16 * 1024, .generatedSize = qint64(1) << 50} << "larger than the limit" << true;
        // zlib as Content-Encoding: deflate expects it (qCompress puts a length first); Qt's own
        // ratio check or our limit stops it, whichever is first.
        QTest::newRow("deflate bomb")
            << Route{.body = qCompress(QByteArray(32 * 1024 * 1024, '\0'), 9).mid(4), .headers = {{"Content-Encoding", "deflate"}}} << "" << false;
        const QByteArray gzipHead("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);
        QTest::newRow("corrupt gzip") << Route{.body = gzipHead + QByteArray(200, '\x7f'), .headers = {{"Content-Encoding", "gzip"}}}
                                      << "damaged compressed body" << false;
        QTest::newRow("drip") << Route{.body = QByteArray(1000, 'x'), .chunkSize = 1, .chunkInterval = 20ms} << "timed out after 0.6 s" << false;
        QTest::newRow("silent") << Route{.hang = true} << "nothing arrived for 0.3 s" << false;
    }
    void hostileBodies()
    {
        QFETCH(Route, route);
        QFETCH(QString, cause);
        QFETCH(bool, tooLarge);
        service.setRoute("/hostile", route);
        QElapsedTimer clock;
        clock.start();
        const auto fetched = fetch("/hostile");
        QVERIFY(!fetched.outcome.ok());
        QVERIFY2(fetched.outcome.error.contains(cause), qPrintable(fetched.outcome.error));
        QCOMPARE(fetched.tooLarge, tooLarge);
        QVERIFY(fetched.body.isEmpty());
        QVERIFY(clock.elapsed() < 5000);
    }

    // Plain http only to this machine, checked at every hop.
    void redirectHops_data()
    {
        QTest::addColumn<QByteArray>("firstHop");
        QTest::addColumn<bool>("followed");
        QTest::newRow("loopback, twice") << QByteArray("/hop") << true;
        QTest::newRow("remote http") << QByteArray("http://downloads.quillmarsh.example/body") << false;
        QTest::newRow("loopback, then remote http") << QByteArray("/hop-remote") << false;
        QTest::newRow("another scheme") << QByteArray("ftp://127.0.0.1/body") << false;
    }
    void redirectHops()
    {
        QFETCH(QByteArray, firstHop);
        QFETCH(bool, followed);
        service.setRoute("/start", Route{.redirectTo = firstHop});
        service.setRoute("/hop", Route{.status = 307, .body = "moved", .redirectTo = "/body"});
        service.setRoute("/hop-remote", Route{.status = 301, .redirectTo = "http://[::ffff:8.8.8.8]/body"});
        service.setRoute("/body", Route{.body = "arrived"});
        const auto fetched = fetch("/start");
        QCOMPARE(fetched.outcome.ok(), followed);
        QCOMPARE(fetched.body, followed ? QByteArray("arrived") : QByteArray());
        if (!followed)
            QVERIFY2(fetched.outcome.error.startsWith("refusing a redirect"), qPrintable(fetched.outcome.error));
    }
};

HUB_TEST_MAIN(NetworkTest)
#include "tst_network.moc"
