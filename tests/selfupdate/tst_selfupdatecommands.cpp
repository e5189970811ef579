#include "SelfUpdateFixtures.h"
#include "selfupdate/SignatureVerifier.h"
#include "support/Files.h"
#include "support/ProcessRun.h"
#include "support/LocalHttpService.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QtTest>

using Route = LocalHttpService::Route;
using selfupdatefixtures::Release;

namespace {

QString home() { return TestSandbox::current().home(); }
QString downloads() { return TestSandbox::current().downloads(); }
const QString PackageRoute = QStringLiteral("/hub/QuillmarshHub-1.1.0.deb");

struct Signed
{
    QString signature;
    qint64 length = -1;
};

// `sparkle:edSignature="..." length="..."`, as the sign tool prints it.
Signed parseSignOutput(const QByteArray &out)
{
    static const QRegularExpression pattern(QStringLiteral("^sparkle:edSignature=\"([A-Za-z0-9+/=]+)\" length=\"(\\d+)\"\\n$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromUtf8(out));
    return match.hasMatch() ? Signed{match.captured(1), match.captured(2).toLongLong()} : Signed{};
}

} // namespace

// The self-update command and the release signing tool, run as the real
// binaries against the local service inside the sandboxed HOME.
class SelfUpdateCommandsTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    const QByteArray package = LocalHttpService::generatedBytes(0, 300 * 1000);
    QHash<QString, QString> files; // placeholder → path or key, for the sign tool's arguments
    Signed release;

    ProcessRun sign(const QStringList &arguments, const QString &workingDirectory = {})
    {
        return runProcess(QUILLMARSH_HUB_SIGN_BINARY, arguments, QProcessEnvironment::systemEnvironment(), workingDirectory);
    }

    ProcessRun hub(const QStringList &arguments, const QString &appcastUrl = {}, const QString &key = {})
    {
        QProcessEnvironment environment = headlessHubEnvironment();
        environment.insert("QUILLMARSH_HUB_APPCAST_URL", appcastUrl.isEmpty() ? service.url("/hub/appcast.xml").toString() : appcastUrl);
        environment.insert("QUILLMARSH_HUB_UPDATE_PUBLIC_KEY", key.isEmpty() ? files["PUBLIC"] : key);
        return runProcess(QUILLMARSH_HUB_BINARY, arguments, environment);
    }

    void serveRelease(const Signed &signedWith, const QString &version = "1.1.0")
    {
        Release r;
        r.version = "110";
        r.shortVersion = version;
        r.url = service.url(PackageRoute).toString();
        r.length = QString::number(signedWith.length);
        r.signature = signedWith.signature;
        service.setRoute("/hub/appcast.xml", Route{.body = selfupdatefixtures::document({r.item()})});
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QVERIFY(QDir().mkpath(home() + "/keys"));
        files = {{"KEY", home() + "/keys/release.key"}, {"OTHER_KEY", home() + "/keys/other.key"},
                 {"PUBLIC_FILE", home() + "/keys/public.txt"}, {"PACKAGE", home() + "/release/QuillmarshHub-1.1.0.deb"},
                 {"CHANGED", home() + "/release/changed.deb"}};
        for (const QString key : {"KEY", "OTHER_KEY"}) {
            const ProcessRun run = sign({"generate-keys", "--key", files[key]});
            QCOMPARE(run.exitCode, 0);
            files[key == "KEY" ? "PUBLIC" : "OTHER_PUBLIC"] = QString::fromLatin1(run.out.trimmed());
            QCOMPARE(QFile::permissions(files[key]), QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                         | QFileDevice::ReadUser | QFileDevice::WriteUser);
        }
        QVERIFY(QDir().mkpath(home() + "/default-key"));
        QVERIFY(testfiles::write(files["PUBLIC_FILE"], files["PUBLIC"].toLatin1()));
        QVERIFY(testfiles::write(files["PACKAGE"], package));
        QByteArray changed = package;
        changed[0] = char(changed[0] ^ 0x80);
        QVERIFY(testfiles::write(files["CHANGED"], changed));

        // What sign prints is what the appcast's enclosure needs.
        const ProcessRun signedRun = sign({"sign", files["PACKAGE"], "--key", files["KEY"]});
        QCOMPARE(signedRun.exitCode, 0);
        release = parseSignOutput(signedRun.out);
        QCOMPARE(release.length, package.size());
        QVERIFY(SignatureVerifier::fromBase64(files["PUBLIC"])->verify(package, release.signature));
        files["SIGNATURE"] = release.signature;
    }

    void init()
    {
        QDir(downloads()).removeRecursively();
        serveRelease(release);
        service.setRoute(PackageRoute, Route{.body = package});
    }

    // Exit 0 done, 1 refused, 2 usage; a refusal prints nothing on stdout,
    // and a private key is never replaced. Keys are created readable by
    // their owner only; without --key, the key file is in the working folder.
    void signTool_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("generate the default key") << QStringList{"generate-keys"} << 0;
        QTest::newRow("sign with the default key") << QStringList{"sign", "PACKAGE"} << 0;
        QTest::newRow("verify signed file") << QStringList{"verify", "PACKAGE", "SIGNATURE", "PUBLIC"} << 0;
        QTest::newRow("verify changed file") << QStringList{"verify", "CHANGED", "SIGNATURE", "PUBLIC"} << 1;
        QTest::newRow("verify with another key") << QStringList{"verify", "PACKAGE", "SIGNATURE", "OTHER_PUBLIC"} << 1;
        QTest::newRow("verify with no key") << QStringList{"verify", "PACKAGE", "SIGNATURE", "not-a-key"} << 1;
        QTest::newRow("verify missing file") << QStringList{"verify", "/nonexistent/file", "SIGNATURE", "PUBLIC"} << 1;
        QTest::newRow("verify without key") << QStringList{"verify", "PACKAGE", "SIGNATURE"} << 2;
        QTest::newRow("sign without file") << QStringList{"sign"} << 2;
        QTest::newRow("sign missing file") << QStringList{"sign", "/nonexistent/file", "--key", "KEY"} << 1;
        QTest::newRow("sign with a public key") << QStringList{"sign", "PACKAGE", "--key", "PUBLIC_FILE"} << 1;
        QTest::newRow("sign with missing key") << QStringList{"sign", "PACKAGE", "--key", "/nonexistent/key"} << 1;
        QTest::newRow("generate over a key") << QStringList{"generate-keys", "--key", "KEY"} << 1;
        QTest::newRow("nothing") << QStringList{} << 2;
    }
    void signTool()
    {
        QFETCH(QStringList, arguments);
        for (QString &argument : arguments)
            argument = files.value(argument, argument);
        const QByteArray key = testfiles::read(files["KEY"]);
        const ProcessRun run = sign(arguments, home() + "/default-key");
        QTEST(run.exitCode, "exitCode");
        QCOMPARE(run.out.isEmpty(), run.exitCode != 0);
        QCOMPARE(testfiles::read(files["KEY"]), key);
    }

    // One thing changed from a good release each. Exit 0 prints the report
    // (SAVED stands for the saved file's path), 1 a refusal and 2 a usage
    // error (nothing fetched) on stderr; Downloads holds the verified
    // release or nothing.
    void selfUpdate_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("problem");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("output"); // stdout for 0, part of stderr otherwise
        const QStringList selfUpdate{"self-update"};
        const QByteArray running = "Running version: 1.0.0\nNewest version: ";
        QTest::newRow("saves the verified release") << selfUpdate << "" << 0 << running + "1.1.0\nSAVED\n";
        QTest::newRow("check only") << QStringList{"self-update", "--check-only"} << "" << 0
                                    << running + "1.1.0\nUpdate available: 1.1.0\n";
        QTest::newRow("up to date") << selfUpdate << "current" << 0 << running + "1.0.0\nUp to date.\n";
        QTest::newRow("one byte changed") << selfUpdate << "tampered" << 1 << QByteArray("signature");
        QTest::newRow("signed with another key") << selfUpdate << "other key" << 1 << QByteArray("signature");
        QTest::newRow("length differs") << selfUpdate << "length" << 1 << QByteArray("bytes");
        QTest::newRow("broken off") << selfUpdate << "truncated" << 1 << QByteArray("not saved");
        QTest::newRow("server error") << selfUpdate << "server error" << 1 << QByteArray("HTTP 500");
        QTest::newRow("plain http elsewhere") << selfUpdate << "http elsewhere" << 1 << QByteArray("loopback");
        QTest::newRow("unusable key") << selfUpdate << "key" << 1 << QByteArray("key");
        QTest::newRow("extra argument") << QStringList{"self-update", "now"} << "" << 2 << QByteArray("Usage");
        QTest::newRow("check-only elsewhere") << QStringList{"status", "--check-only"} << "" << 2 << QByteArray("Usage");
    }
    void selfUpdate()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, problem);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, output);
        Signed announced = release;
        if (problem == "tampered")
            service.setRoute(PackageRoute, Route{.body = testfiles::read(files["CHANGED"])});
        else if (problem == "other key")
            announced = parseSignOutput(sign({"sign", files["PACKAGE"], "--key", files["OTHER_KEY"]}).out);
        else if (problem == "length")
            announced.length += 1;
        else if (problem == "truncated")
            service.setRoute(PackageRoute, Route{.body = package, .truncateAfter = 1000});
        serveRelease(announced, problem == "current" ? "1.0.0" : "1.1.0");
        if (problem == "server error")
            service.setRoute("/hub/appcast.xml", Route{.status = 500});
        const int appcasts = service.requestCount("/hub/appcast.xml");
        const int packages = service.requestCount(PackageRoute);

        const ProcessRun run = hub(arguments, problem == "http elsewhere" ? "http://updates.quillmarsh.example/appcast.xml" : "",
                                   problem == "key" ? "bm90IGEga2V5" : "");
        QCOMPARE(run.exitCode, exitCode);
        const QString saved = downloads() + "/QuillmarshHub-1.1.0.deb";
        if (exitCode == 0) {
            QVERIFY2(run.err.isEmpty(), run.err.constData());
            QCOMPARE(run.out, output.replace("SAVED", QFile::encodeName(saved)));
        } else {
            QVERIFY2(run.err.contains(output), run.err.constData());
            QVERIFY(!run.out.contains(QFile::encodeName(downloads())));
        }
        const bool downloaded = run.out.contains(QFile::encodeName(saved));
        QCOMPARE(testfiles::downloadsListing(), downloaded ? QStringList{"QuillmarshHub-1.1.0.deb"} : QStringList{});
        QVERIFY(!downloaded || testfiles::read(saved) == package);
        if (exitCode == 0)
            QCOMPARE(service.requestCount(PackageRoute) - packages, downloaded ? 1 : 0);
        if (exitCode == 2)
            QCOMPARE(service.requestCount("/hub/appcast.xml"), appcasts);
    }

    void jsonReport()
    {
        const QJsonObject report = QJsonDocument::fromJson(hub({"self-update", "--json"}).out).object();
        QCOMPARE(report.value("updateAvailable").toBool(), true);
        QCOMPARE(report.value("savedPath").toString(), downloads() + "/QuillmarshHub-1.1.0.deb");
        QVERIFY(report.value("error").isNull());
        const QJsonObject offered = report.value("release").toObject();
        QCOMPARE(offered.value("version").toString(), "110");
        QCOMPARE(offered.value("shortVersion").toString(), "1.1.0");

        service.setRoute("/hub/appcast.xml", Route{.body = selfupdatefixtures::document({})});
        const QJsonObject empty = QJsonDocument::fromJson(hub({"self-update", "--json", "--check-only"}).out).object();
        QCOMPARE(empty.value("updateAvailable").toBool(), false);
        QVERIFY(empty.value("newestVersion").isNull() && empty.value("release").isNull() && empty.value("savedPath").isNull());
    }
};

HUB_TEST_MAIN(SelfUpdateCommandsTest)
#include "tst_selfupdatecommands.moc"
