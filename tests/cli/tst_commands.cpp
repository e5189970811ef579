#include "selfupdate/SelfUpdateFixtures.h"
#include "support/Fixtures.h"
#include "support/LinuxBundles.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"

#include <QCoroProcess>
#include <QCryptographicHash>
#include <QRegularExpression>
#include <QtTest>

using fixtures::version;

static QString home() { return TestSandbox::current().home(); }
static QString downloads() { return TestSandbox::current().downloads(); }
static const QString ReleasePath = QStringLiteral("/hub/QuillmarshHub-1.1.0.deb");

struct ProcessRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// The headless commands and the release signing tool, run as the real
// binaries against the local service.
class CommandsTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    const QByteArray package = LocalHttpService::generatedBytes(0, 300 * 1000);
    QHash<QString, QString> files; // keys, the package and its signature, by name

    // To its end (30 s at most) on the event loop, so the service keeps answering.
    static ProcessRun run(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment)
    {
        QProcess process;
        process.setProcessEnvironment(environment);
        return QCoro::waitFor([&]() -> QCoro::Task<ProcessRun> {
            co_await qCoro(process).start(program, arguments);
            co_await qCoro(process).waitForFinished(30000);
            co_return ProcessRun{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
        }());
    }

    // No display, and no session bus, so no file manager is bothered.
    ProcessRun hub(const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("DBUS_SESSION_BUS_ADDRESS");
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.insert("QUILLMARSH_HUB_SERVICE_URL", service.baseUrl().toString());
        environment.insert("QUILLMARSH_HUB_APPCAST_URL", service.url("/hub/appcast.xml").toString());
        environment.insert("QUILLMARSH_HUB_UPDATE_PUBLIC_KEY", files["PUBLIC"]);
        return run(QUILLMARSH_HUB_BINARY, arguments, environment);
    }

    ProcessRun sign(const QStringList &arguments) { return run(QUILLMARSH_HUB_SIGN_BINARY, arguments, QProcessEnvironment::systemEnvironment()); }

    void serveVersions(int status, const QString &installer)
    {
        // The installer the rows call good, by digest.
        QJsonObject old = version("old", "1.5", service.baseUrl().toString() + "/files/" + installer);
        old.insert("sha256", QString(QCryptographicHash::hash("installer bytes", QCryptographicHash::Sha256).toHex()));
        service.setRoute("/api/plugin-versions", Route{.status = status, .body = fixtures::document({
            version("current", "2.0"), old, version("absent", "1.0"), version("studio", "3.5", service.url("/files/Studio.dmg").toString()),
            version("hub", "9.0")})});
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
        serveVersions(200, "Old%20Installer.dmg");

        // Release keys, private to their owner, and the release announced
        // with what `sign` printed.
        files = {{"KEY", home() + "/keys/release.key"}, {"OTHER_KEY", home() + "/keys/other.key"}, {"PACKAGE", home() + "/QuillmarshHub-1.1.0.deb"}};
        QVERIFY(QDir().mkpath(home() + "/keys") && testfiles::write(files["PACKAGE"], package));
        for (const QString key : {"KEY", "OTHER_KEY"}) {
            const ProcessRun result = sign({"generate-keys", "--key", files[key]});
            QCOMPARE(result.exitCode, 0);
            files[key == "KEY" ? "PUBLIC" : "OTHER_PUBLIC"] = QString::fromLatin1(result.out.trimmed());
            QCOMPARE(QFile::permissions(files[key]), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser);
        }
        static const QRegularExpression printed(QStringLiteral("^sparkle:edSignature=\"([A-Za-z0-9+/=]+)\" length=\"(\\d+)\"\\n$"));
        const QRegularExpressionMatch match = printed.match(QString::fromUtf8(sign({"sign", files["PACKAGE"], "--key", files["KEY"]}).out));
        QVERIFY(match.hasMatch());
        QCOMPARE(match.captured(2).toLongLong(), package.size());
        files["SIGNATURE"] = match.captured(1);
        const selfupdatefixtures::Release release{"110", "1.1.0", service.url(ReleasePath).toString(), match.captured(2), match.captured(1)};
        service.setRoute("/hub/appcast.xml", Route{.body = selfupdatefixtures::document({release.item()})});
    }

    void init() { QDir(downloads()).removeRecursively(); }

    void statusJsonReportsEveryProduct()
    {
        const ProcessRun result = hub({"status", "--json"});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.err.isEmpty());
        const QJsonObject report = QJsonDocument::fromJson(result.out).object();
        QJsonObject products; // id → install state, latest version, status, installed versions
        for (const QJsonValue &product : report["products"].toArray())
            products.insert(product["id"].toString(), QJsonArray{product["installState"], product["latestVersion"], product["status"], product["installedVersions"]});
        QCOMPARE(products, (QJsonObject{{"current", QJsonArray{"installed", "2.0", "upToDate", QJsonObject{{"VST3", "2.0.0"}}}},
                                        {"old", QJsonArray{"installed", "1.5", "updateAvailable", QJsonObject{{"VST3", "1.0"}}}},
                                        {"absent", QJsonArray{"notInstalled", "1.0", "notInstalled", QJsonObject{}}},
                                        {"studio", QJsonArray{"installed", "3.5", "updateAvailable", QJsonObject{{"CLAP", "3.2.1"}}}}}));
        QCOMPARE(report["products"].toArray().size(), products.size());
        QCOMPARE(report["hub"]["status"], "updateAvailable");
        QVERIFY(!report["lastChecked"].toString().isEmpty());
    }

    // Exit 0 done, 1 refused or failed (what is known is still printed), 2
    // usage; Downloads holds exactly the verified installer or release, or
    // nothing.
    void commands_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Route>("served");   // the installer, or for self-update the hub's release
        QTest::addColumn<int>("feedStatus");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("out"); // all of stdout after exit 0, part of it otherwise
        QTest::addColumn<QByteArray>("err"); // part of stderr
        QTest::addColumn<QString>("saved");  // the one file in Downloads afterwards, as the installer's URL names it
        const QStringList downloadOld{"download", "old"};
        const Route good{.body = "installer bytes"}, release{.body = package};
        QTest::newRow("status, feed down") << QStringList{"status", "--json"} << good << 500 << 1 << QByteArray("\"old\"")
                                           << QByteArray("update check failed") << "";
        QTest::newRow("download") << downloadOld << good << 200 << 0 << QFile::encodeName(downloads() + "/Old Installer.dmg\n") << QByteArray()
                                  << "Old Installer.dmg";
        QTest::newRow("download, newline in the name") << downloadOld << good << 200 << 0 << QFile::encodeName(downloads() + "/Old\\nInstaller.dmg\n")
                                                       << QByteArray() << "Old\nInstaller.dmg";
        QTest::newRow("download broken off") << downloadOld << Route{.body = QByteArray(1000, 'x'), .truncateAfter = 10} << 200 << 1
                                             << QByteArray() << QByteArray("download failed: the connection to 127.0.0.1 broke off") << "";
        QTest::newRow("download altered") << downloadOld << Route{.body = "installer bytez"} << 200 << 1 << QByteArray()
                                          << QByteArray("download failed: the file's SHA-256 does not match the feed") << "";
        QTest::newRow("unknown id") << QStringList{"download", "nope"} << good << 200 << 1 << QByteArray() << QByteArray("no product") << "";
        QTest::newRow("up to date") << QStringList{"download", "current"} << good << 200 << 1 << QByteArray() << QByteArray("no update") << "";
        QTest::newRow("missing id") << QStringList{"download"} << good << 200 << 2 << QByteArray() << QByteArray("Usage") << "";
        const QByteArray running = "Running version: 1.0.0\nNewest version: 1.1.0\n";
        QTest::newRow("self-update") << QStringList{"self-update"} << release << 200 << 0
                                     << running + QFile::encodeName(downloads() + "/QuillmarshHub-1.1.0.deb\n") << QByteArray() << "QuillmarshHub-1.1.0.deb";
        QTest::newRow("self-update, check only") << QStringList{"self-update", "--check-only"} << release << 200 << 0
                                                 << running + "Update available: 1.1.0\n" << QByteArray() << "";
        QByteArray changed = package;
        changed[0] = char(changed[0] ^ 0x80);
        QTest::newRow("self-update, one byte changed") << QStringList{"self-update"} << Route{.body = changed} << 200 << 1 << QByteArray()
                                                       << QByteArray("signature") << "";
        QTest::newRow("self-update, extra argument") << QStringList{"self-update", "now"} << release << 200 << 2 << QByteArray() << QByteArray("Usage") << "";
    }
    void commands()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Route, served);
        QFETCH(int, feedStatus);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QFETCH(QString, saved);
        const QString installer = arguments[0] == "download" && !saved.isEmpty() ? saved : "Old Installer.dmg";
        service.setRoute(arguments[0] == "self-update" ? ReleasePath : "/files/" + installer, served);
        serveVersions(feedStatus, QUrl::toPercentEncoding(installer));
        const ProcessRun result = hub(arguments);
        QTEST(result.exitCode, "exitCode");
        QVERIFY2(result.exitCode == 0 ? result.out == out : result.out.contains(out), result.out.constData());
        QVERIFY2(result.err.contains(err), result.err.constData());
        // Not a terminal: no progress bar.
        QVERIFY2(result.exitCode != 0 || result.err.isEmpty(), result.err.constData());
        QCOMPARE(testfiles::downloadsListing(), saved.isEmpty() ? QStringList{} : QStringList{saved});
        if (!saved.isEmpty())
            QCOMPARE(testfiles::read(downloads() + "/" + saved), served.body);
    }

    // Every available update in catalogue order, each saved path printed;
    // one that fails is named and does not stop the others.
    void downloadAll()
    {
        service.setRoute("/files/Studio.dmg", Route{.body = "studio"});
        service.setRoute("/files/Old Installer.dmg", Route{.body = QByteArray(1000, 'x'), .truncateAfter = 10});
        serveVersions(200, "Old%20Installer.dmg");
        ProcessRun result = hub({"download", "--all"});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, QFile::encodeName(downloads() + "/Studio.dmg\n"));
        QVERIFY2(result.err.contains("download of old failed"), result.err.constData());
        service.setRoute("/files/Old Installer.dmg", Route{.body = "installer bytes"});
        result = hub({"download", "--all"});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QFile::encodeName(downloads() + "/Studio.dmg\n" + downloads() + "/Old Installer.dmg\n"));
        QCOMPARE(testfiles::downloadsListing(), (QStringList{"Old Installer.dmg", "Studio.dmg"}));
    }

    // The same self-update as a JSON report.
    void selfUpdateJson()
    {
        service.setRoute(ReleasePath, Route{.body = package});
        const QJsonObject report = QJsonDocument::fromJson(hub({"self-update", "--json"}).out).object();
        QCOMPARE((QJsonArray{report["updateAvailable"], report["savedPath"], report["error"], report["release"]["version"], report["release"]["shortVersion"]}),
                 (QJsonArray{true, downloads() + "/QuillmarshHub-1.1.0.deb", QJsonValue::Null, "110", "1.1.0"}));
    }

    // A refusal prints nothing on stdout, and a private key is never replaced.
    void signTool_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("verify signed file") << QStringList{"verify", files["PACKAGE"], files["SIGNATURE"], files["PUBLIC"]} << 0;
        QTest::newRow("verify with another key") << QStringList{"verify", files["PACKAGE"], files["SIGNATURE"], files["OTHER_PUBLIC"]} << 1;
        QTest::newRow("generate over a key") << QStringList{"generate-keys", "--key", files["KEY"]} << 1;
    }
    void signTool()
    {
        QFETCH(QStringList, arguments);
        const QByteArray key = testfiles::read(files["KEY"]);
        const ProcessRun result = sign(arguments);
        QTEST(result.exitCode, "exitCode");
        QCOMPARE(result.out.isEmpty(), result.exitCode != 0);
        QCOMPARE(testfiles::read(files["KEY"]), key);
    }
};

HUB_TEST_MAIN(CommandsTest)
#include "tst_commands.moc"
