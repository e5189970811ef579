#include "support/Fixtures.h"
#include "support/Files.h"
#include "support/ProcessRun.h"
#include "support/LinuxBundles.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QtTest>

using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)
using fixtures::version;

static QString home() { return TestSandbox::current().home(); }
static QString downloads() { return TestSandbox::current().downloads(); }

// The headless commands, run as the real binary against the local service.
class CommandsTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;

    ProcessRun run(const QStringList &arguments)
    {
        QProcessEnvironment environment = headlessHubEnvironment();
        environment.insert("QUILLMARSH_HUB_SERVICE_URL", service.baseUrl().toString());
        return runProcess(QUILLMARSH_HUB_BINARY, arguments, environment);
    }

    void serveVersions(int status = 200, const QString &installer = "Old%20Installer.dmg")
    {
        service.setRoute("/api/plugin-versions", Route{.status = status, .body = fixtures::document({
            version("current", "2.0"), version("old", "1.5", service.baseUrl().toString() + "/files/" + installer),
            version("absent", "1.0"), version("studio", "3.5"), version("hub", "9.0")})});
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QVERIFY(plistwriter::writeBundle(home() + "/Plugins/Current.vst3", {{"CFBundleShortVersionString", "2.0.0"}}, plistwriter::Format::Xml));
        QVERIFY(plistwriter::writeBundle(home() + "/Plugins/Old.vst3", {{"CFBundleShortVersionString", "1.0"}}, plistwriter::Format::Binary));
        // Read by a scan, which status waits for before it prints.
        QVERIFY(linuxbundles::installClap(home() + "/.clap/Marsh.clap"));
        service.setRoute("/api/hub/products", Route{.body = fixtures::document({
            fixtures::product("studio", {{"CLAP", ".clap/Marsh.clap"}}),
            fixtures::product("current", {{"VST3", "Plugins/Current.vst3"}}),
            fixtures::product("old", {{"VST3", "Plugins/Old.vst3"}}),
            fixtures::product("absent", {{"VST3", "Plugins/Absent.vst3"}})})});
        serveVersions();
    }

    void statusJsonReportsEveryProduct()
    {
        const ProcessRun result = run({"status", "--json"});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.err.isEmpty());
        const QJsonObject report = QJsonDocument::fromJson(result.out).object();
        // id → install state, latest version, status, installed versions.
        QHash<QString, QJsonArray> expected{
            {"current", {"installed", "2.0", "upToDate", QJsonObject{{"VST3", "2.0.0"}}}},
            {"old", {"installed", "1.5", "updateAvailable", QJsonObject{{"VST3", "1.0"}}}},
            {"absent", {"notInstalled", "1.0", "notInstalled", QJsonObject{}}},
            {"studio", {"installed", "3.5", "updateAvailable", QJsonObject{{"CLAP", "3.2.1"}}}},
        };
        for (const QJsonValue &value : report.value("products").toArray()) {
            const QJsonObject product = value.toObject();
            const QJsonArray fields{product.value("installState"), product.value("latestVersion").toString(),
                                    product.value("status"), product.value("installedVersions").toObject()};
            QVERIFY2(fields == expected.take(product.value("id").toString()), QJsonDocument(product).toJson().constData());
        }
        QVERIFY(expected.isEmpty());
        QCOMPARE(report.value("hub").toObject().value("status").toString(), "updateAvailable");
        QVERIFY(!report.value("lastChecked").toString().isEmpty());
    }

    // Exit 0 done, 1 refused or failed (what is known is still printed), 2
    // usage; Downloads holds exactly the installer or nothing.
    void commands_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Route>("installer");
        QTest::addColumn<int>("feedStatus");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("err");
        QTest::addColumn<QString>("file"); // the installer's name in its URL
        const QStringList downloadOld{"download", "old"};
        const Route good{.body = "installer bytes"};
        const QString plain = "Old%20Installer.dmg";
        QTest::newRow("status, feed down") << QStringList{"status", "--json"} << good << 500 << 1 << QByteArray("\"old\"")
                                           << QByteArray("update check failed") << plain;
        QTest::newRow("download") << downloadOld << good << 200 << 0 << QFile::encodeName(downloads() + "/Old Installer.dmg\n")
                                  << QByteArray() << plain;
        QTest::newRow("download, newline in the name")
            << downloadOld << good << 200 << 0 << QFile::encodeName(downloads() + "/Old\\nInstaller.dmg\n") << QByteArray()
            << "Old%0AInstaller.dmg";
        QTest::newRow("download broken off") << downloadOld << Route{.body = QByteArray(1000, 'x'), .truncateAfter = 10} << 200
                                             << 1 << QByteArray() << QByteArray("download failed: the connection to 127.0.0.1 broke off")
                                             << plain;
        QTest::newRow("unknown id") << QStringList{"download", "nope"} << good << 200 << 1 << QByteArray() << QByteArray("no product") << plain;
        QTest::newRow("up to date") << QStringList{"download", "current"} << good << 200 << 1 << QByteArray() << QByteArray("no update") << plain;
        QTest::newRow("missing id") << QStringList{"download"} << good << 200 << 2 << QByteArray() << QByteArray("Usage") << plain;
    }
    void commands()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Route, installer);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QFETCH(int, feedStatus);
        QFETCH(QString, file);
        const QString name = QUrl::fromPercentEncoding(file.toUtf8());
        QDir(downloads()).removeRecursively();
        service.setRoute("/files/" + name, installer);
        serveVersions(feedStatus, file);
        const ProcessRun result = run(arguments);
        QTEST(result.exitCode, "exitCode");
        QVERIFY2(result.out.contains(out), result.out.constData());
        QVERIFY2(result.err.contains(err), result.err.constData());
        const bool saved = result.exitCode == 0 && arguments.first() == "download";
        QCOMPARE(testfiles::downloadsListing(), saved ? QStringList{name} : QStringList{});
        if (saved)
            QCOMPARE(testfiles::read(downloads() + "/" + name), "installer bytes");
    }
};

HUB_TEST_MAIN(CommandsTest)
#include "tst_commands.moc"
