#include "platform/ServiceAddress.h"
#include "support/TestSandbox.h"

#include <QtTest>

class PlatformTest : public QObject
{
    Q_OBJECT

private slots:
    void serviceAddress_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("https") << "https://api.quillmarsh.example" << true;
        QTest::newRow("http loopback") << "http://127.0.0.1:8080" << true;
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
        const auto address = ServiceAddress::parse(text, &error);
        QCOMPARE(address.has_value(), accepted);
        QCOMPARE(error.isEmpty(), accepted);
    }

    void endpointsKeepTheBasePath()
    {
        const auto address = ServiceAddress::parse("https://staging.example/hub/");
        QCOMPARE(address->catalogURL(), QUrl("https://staging.example/hub/api/hub/products"));
        QCOMPARE(address->versionsURL(), QUrl("https://staging.example/hub/api/plugin-versions"));
    }

    void optionWinsOverEnvironment()
    {
        qputenv(ServiceAddress::EnvironmentVariable, "http://127.0.0.1:1234");
        QCOMPARE(ServiceAddress::resolve(std::nullopt)->base(), QUrl("http://127.0.0.1:1234"));
        QCOMPARE(ServiceAddress::resolve(QString("https://b.example"))->base(), QUrl("https://b.example"));
        qputenv(ServiceAddress::EnvironmentVariable, "http://remote.example");
        QVERIFY(!ServiceAddress::resolve(std::nullopt));
        qunsetenv(ServiceAddress::EnvironmentVariable);
        QCOMPARE(ServiceAddress::resolve(std::nullopt)->base(), ServiceAddress::defaultBase());
    }
};

HUB_TEST_MAIN(PlatformTest)
#include "tst_platform.moc"
