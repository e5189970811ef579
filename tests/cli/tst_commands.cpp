#include "support/Fixtures.h"
#include "support/Files.h"
#include "support/ProcessRun.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QtTest>

using Route = LocalHttpService::Route;
using fixtures::version;

namespace {

QString home() { return TestSandbox::current().home(); }
QString downloads() { return TestSandbox::current().downloads(); }

} // namespace

// The headless commands, run as the real binary against the local service
// inside the sandboxed HOME.
class CommandsTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;

    ProcessRun run(const QStringList &arguments, const QString &serviceUrl = {})
    {
        QProcessEnvironment environment = headlessHubEnvironment();
        environment.insert("QUILLMARSH_HUB_SERVICE_URL", serviceUrl.isEmpty() ? service.baseUrl().toString() : serviceUrl);
        return runProcess(QUILLMARSH_HUB_BINARY, arguments, environment);
    }

    QJsonObject productIn(const QJsonObject &report, const QString &id)
    {
        for (const QJsonValue &value : report.value("products").toArray())
            if (value.toObject().value("id") == id)
                return value.toObject();
        return {};
    }

    void serveVersions()
    {
        service.setRoute("/api/plugin-versions", Route{.body = fixtures::document({
            version("current", "2.0"),
            version("old", "1.5", service.baseUrl().toString() + "/files/Old%20Installer.dmg"),
            version("mixed", "1.10"),
            version("absent", "1.0"),
            version("hub", "9.0"),
        })});
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        // Up to date, outdated, two formats at different versions, a folder without Info.plist.
        using plistwriter::Format;
        auto bundle = [](const QString &path, const QString &version, Format format) {
            QVERIFY(plistwriter::writeBundle(home() + "/" + path, {{"CFBundleShortVersionString", version}}, format));
        };
        bundle("Plugins/Current.vst3", "2.0.0", Format::Xml);
        bundle("Plugins/Old.vst3", "1.0", Format::Binary);
        bundle("Plugins/Mixed.vst3", "1.10", Format::Xml);
        bundle("Plugins/Mixed.component", "1.9", Format::Binary);
        QDir().mkpath(home() + "/Plugins/Bare.vst3");

        service.setRoute("/api/hub/products", Route{.body = fixtures::document({
            fixtures::product("current", {{"VST3", "Plugins/Current.vst3"}}),
            fixtures::product("old", {{"VST3", "Plugins/Old.vst3"}}),
            fixtures::product("mixed", {{"VST3", "Plugins/Mixed.vst3"}, {"AU", home() + "/Plugins/Mixed.component"}}),
            fixtures::product("bare", {{"VST3", "Plugins/Bare.vst3"}}),
            fixtures::product("absent", {{"VST3", "Plugins/Absent.vst3"}}),
        })});
        serveVersions();
        service.setRoute("/files/Old Installer.dmg", Route{.body = "installer bytes"});
    }


    void statusJsonReportsEveryProduct()
    {
        const ProcessRun result = run({"status", "--json"});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.err.isEmpty());
        const QJsonObject report = QJsonDocument::fromJson(result.out).object();

        struct Expected { const char *id, *install, *latest, *status; QJsonObject versions; };
        const QList<Expected> expected{
            {"current", "installed", "2.0", "upToDate", {{"VST3", "2.0.0"}}},
            {"old", "installed", "1.5", "updateAvailable", {{"VST3", "1.0"}}},
            // Any older format counts when the feed is applied; the rebuild that
            // follows compares the lowest text, "1.10".
            {"mixed", "installed", "1.10", "upToDate", {{"VST3", "1.10"}, {"AU", "1.9"}}},
            {"bare", "installed", nullptr, "notInstalled", {}},
            {"absent", "notInstalled", "1.0", "notInstalled", {}},
        };
        QCOMPARE(report.value("products").toArray().size(), expected.size());
        for (const Expected &e : expected) {
            const QJsonObject product = productIn(report, e.id);
            QCOMPARE(product.value("installState").toString(), e.install);
            QCOMPARE(product.value("latestVersion").toString(), e.latest);
            QCOMPARE(product.value("status").toString(), e.status);
            QCOMPARE(product.value("installedVersions").toObject(), e.versions);
        }
        QCOMPARE(report.value("hub").toObject().value("status").toString(), "updateAvailable");
        QCOMPARE(report.value("hub").toObject().value("installedVersion").toString(), "1.0.0");
        QVERIFY(!report.value("lastChecked").toString().isEmpty());
        QVERIFY(QFile::exists(TestSandbox::current().hubDirectory() + "/product_catalog.json"));
    }

    void statusTextAndPartialFailure()
    {
        const ProcessRun text = run({"status"});
        QCOMPARE(text.exitCode, 0);
        QVERIFY(text.out.contains("Quillmarsh Hub"));
        QVERIFY(text.out.contains("updateAvailable"));

        service.setRoute("/api/plugin-versions", Route{.status = 500});
        const ProcessRun failed = run({"status", "--json"});
        QCOMPARE(failed.exitCode, 1);
        QVERIFY(failed.err.contains("update check failed"));
        // What is known is still printed: the catalogue came from the cache and the network.
        QCOMPARE(QJsonDocument::fromJson(failed.out).object().value("products").toArray().size(), 5);
        serveVersions();
    }

    void downloadLeavesExactlyOneFile()
    {
        QDir(downloads()).removeRecursively();
        const ProcessRun result = run({"download", "old"});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out.trimmed(), QFile::encodeName(downloads() + "/Old Installer.dmg"));
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Old Installer.dmg"});
        QFile saved(downloads() + "/Old Installer.dmg");
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), "installer bytes");
    }

    void downloadRefusals_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("unknown id") << QStringList{"download", "nope"} << 1 << QByteArray("no product");
        QTest::newRow("up to date") << QStringList{"download", "current"} << 1 << QByteArray("no update");
        QTest::newRow("not installed") << QStringList{"download", "absent"} << 1 << QByteArray("no update");
        QTest::newRow("missing id") << QStringList{"download"} << 2 << QByteArray("Usage");
        QTest::newRow("unknown command") << QStringList{"frobnicate"} << 2 << QByteArray("unknown command");
        QTest::newRow("unknown option") << QStringList{"status", "--yes"} << 2 << QByteArray("unknown option");
        QTest::newRow("json on download") << QStringList{"download", "old", "--json"} << 2 << QByteArray("Usage");
    }
    void downloadRefusals()
    {
        QFETCH(QStringList, arguments);
        QDir(downloads()).removeRecursively();
        const ProcessRun result = run(arguments);
        QTEST(result.exitCode, "exitCode");
        QFETCH(QByteArray, message);
        QVERIFY2(result.err.contains(message), result.err.constData());
        QVERIFY(testfiles::downloadsListing().isEmpty());
    }

    void transferFailureIsReported()
    {
        service.setRoute("/files/Old Installer.dmg", Route{.body = QByteArray(1000, 'x'), .truncateAfter = 10});
        QDir(downloads()).removeRecursively();
        const ProcessRun result = run({"download", "old"});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.err.contains("download failed"));
        QVERIFY(testfiles::downloadsListing().isEmpty());
        service.setRoute("/files/Old Installer.dmg", Route{.body = "installer bytes"});
    }

    void serviceAddressIsChecked()
    {
        const ProcessRun result = run({"status"}, "http://remote.example");
        QCOMPARE(result.exitCode, 2);
        QVERIFY(result.err.contains("loopback"));
    }

    void helpAndVersion()
    {
        const ProcessRun help = run({"--help"});
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.out.contains("status [--json]"));
        const ProcessRun version = run({"--version"});
        QCOMPARE(version.exitCode, 0);
        QCOMPARE(version.out.trimmed(), "quillmarsh-hub 1.0.0");
    }
};

HUB_TEST_MAIN(CommandsTest)
#include "tst_commands.moc"
