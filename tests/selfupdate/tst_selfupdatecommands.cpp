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
Q_DECLARE_METATYPE(LocalHttpService::Route)
using selfupdatefixtures::Release;

namespace {

QString home() { return TestSandbox::current().home(); }
QString downloads() { return TestSandbox::current().downloads(); }

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
    if (!match.hasMatch())
        return {};
    return {match.captured(1), match.captured(2).toLongLong()};
}

} // namespace

// The self-update command and the release signing tool, run as the real
// binaries against the local service inside the sandboxed HOME.
class SelfUpdateCommandsTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    const QByteArray package = LocalHttpService::generatedBytes(0, 300 * 1000);
    QString packagePath;
    QString keyFile;
    QString publicKey;
    Signed release;
    QString otherKeyFile;
    QString otherPublicKey;

    ProcessRun sign(const QStringList &arguments, const QString &workingDirectory = {})
    {
        return runProcess(QUILLMARSH_HUB_SIGN_BINARY, arguments, QProcessEnvironment::systemEnvironment(),
                          workingDirectory);
    }

    ProcessRun hub(const QStringList &arguments, const QString &appcastUrl = {}, const QString &key = {})
    {
        QProcessEnvironment environment = headlessHubEnvironment();
        environment.insert("QUILLMARSH_HUB_APPCAST_URL",
                           appcastUrl.isEmpty() ? service.url("/hub/appcast.xml").toString() : appcastUrl);
        environment.insert("QUILLMARSH_HUB_UPDATE_PUBLIC_KEY", key.isEmpty() ? publicKey : key);
        return runProcess(QUILLMARSH_HUB_BINARY, arguments, environment);
    }

    // Generates a key pair with the tool; returns the public key.
    QString generateKeys(const QString &file)
    {
        const ProcessRun run = sign({"generate-keys", "--key", file});
        return run.exitCode == 0 ? QString::fromLatin1(run.out.trimmed()) : QString();
    }

    Release hubRelease(const Signed &signedWith) const
    {
        Release r;
        r.version = "110";
        r.shortVersion = "1.1.0";
        r.title = "Quillmarsh Hub 1.1.0";
        r.url = service.url("/hub/QuillmarshHub-1.1.0.deb").toString();
        r.length = QString::number(signedWith.length);
        r.signature = signedWith.signature;
        return r;
    }

    void serveAppcast(const QList<QByteArray> &items)
    {
        service.setRoute("/hub/appcast.xml", Route{.body = selfupdatefixtures::document(items)});
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        keyFile = home() + "/keys/release.key";
        otherKeyFile = home() + "/keys/other.key";
        QDir().mkpath(home() + "/keys");
        publicKey = generateKeys(keyFile);
        otherPublicKey = generateKeys(otherKeyFile);
        QVERIFY(!publicKey.isEmpty() && !otherPublicKey.isEmpty());

        packagePath = home() + "/release/QuillmarshHub-1.1.0.deb";
        QVERIFY(testfiles::write(packagePath, package));
        const ProcessRun signed_ = sign({"sign", packagePath, "--key", keyFile});
        QCOMPARE(signed_.exitCode, 0);
        release = parseSignOutput(signed_.out);
        QVERIFY2(!release.signature.isEmpty(), signed_.out.constData());
    }

    void init()
    {
        QDir(downloads()).removeRecursively();
        serveAppcast({hubRelease(release).item()});
        service.setRoute("/hub/QuillmarshHub-1.1.0.deb", Route{.body = package});
    }

    void generatedKeysArePrivate()
    {
        QVERIFY(SignatureVerifier::fromBase64(publicKey));
        QVERIFY(publicKey != otherPublicKey);
        QCOMPARE(QFile::permissions(keyFile), QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                  | QFileDevice::ReadUser | QFileDevice::WriteUser);
        QVERIFY(SignatureVerifier::decodeBase64(QString::fromLatin1(testfiles::read(keyFile)), 64));

        // Never replaced.
        const QByteArray before = testfiles::read(keyFile);
        const ProcessRun again = sign({"generate-keys", "--key", keyFile});
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.out.isEmpty());
        QCOMPARE(testfiles::read(keyFile), before);

        // The default file, in the working directory.
        const QString folder = home() + "/default-key";
        QDir().mkpath(folder);
        const ProcessRun defaults = sign({"generate-keys"}, folder);
        QCOMPARE(defaults.exitCode, 0);
        QVERIFY(QFile::exists(folder + "/quillmarsh-hub-signing.key"));
        const ProcessRun signedWithDefault = sign({"sign", packagePath}, folder);
        QCOMPARE(signedWithDefault.exitCode, 0);
        QCOMPARE(parseSignOutput(signedWithDefault.out).length, package.size());
    }

    void signPrintsTheEnclosureAttributes()
    {
        QCOMPARE(release.length, package.size());
        QVERIFY(SignatureVerifier::fromBase64(publicKey)->verify(package, release.signature));
    }

    void signRefusals_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("no file") << QStringList{"sign"} << 2;
        QTest::newRow("missing file") << QStringList{"sign", "/nonexistent/file", "--key", "KEY"} << 1;
        QTest::newRow("public key as private") << QStringList{"sign", "PACKAGE", "--key", "PUBLIC"} << 1;
        QTest::newRow("missing key") << QStringList{"sign", "PACKAGE", "--key", "/nonexistent/key"} << 1;
        QTest::newRow("key option without file") << QStringList{"sign", "PACKAGE", "--key"} << 2;
        QTest::newRow("unknown command") << QStringList{"publish"} << 2;
        QTest::newRow("nothing") << QStringList{} << 2;
    }
    void signRefusals()
    {
        QFETCH(QStringList, arguments);
        const QString publicKeyFile = home() + "/keys/public.txt";
        QVERIFY(testfiles::write(publicKeyFile, publicKey.toLatin1()));
        arguments.replaceInStrings("PACKAGE", packagePath).replaceInStrings("PUBLIC", publicKeyFile);
        if (arguments.value(3) == "KEY")
            arguments[3] = keyFile;
        const ProcessRun run = sign(arguments);
        QTEST(run.exitCode, "exitCode");
        QVERIFY(run.out.isEmpty());
    }

    void verifyCommand_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("otherKey");
        QTest::addColumn<int>("exitCode");
        QByteArray changed = package;
        changed[0] = char(changed[0] ^ 0x80);
        QTest::newRow("signed file") << package << false << 0;
        QTest::newRow("one byte changed") << changed << false << 1;
        QTest::newRow("one byte missing") << package.chopped(1) << false << 1;
        QTest::newRow("another key") << package << true << 1;
    }
    void verifyCommand()
    {
        QFETCH(QByteArray, file);
        QFETCH(bool, otherKey);
        const QString path = home() + "/verify/candidate.deb";
        QVERIFY(testfiles::write(path, file));
        const ProcessRun run = sign({"verify", path, release.signature, otherKey ? otherPublicKey : publicKey});
        QTEST(run.exitCode, "exitCode");
    }

    void verifyUsage()
    {
        QCOMPARE(sign({"verify", packagePath, release.signature}).exitCode, 2);
        QCOMPARE(sign({"verify", packagePath, release.signature, "not-a-key"}).exitCode, 1);
        QCOMPARE(sign({"verify", packagePath + ".missing", release.signature, publicKey}).exitCode, 1);
    }

    void selfUpdateSavesTheVerifiedRelease()
    {
        const ProcessRun run = hub({"self-update"});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.err.isEmpty(), run.err.constData());
        const QString saved = downloads() + "/QuillmarshHub-1.1.0.deb";
        QCOMPARE(run.out, "Running version: 1.0.0\nNewest version: 1.1.0\n" + QFile::encodeName(saved) + "\n");
        QCOMPARE(testfiles::downloadsListing(), QStringList{"QuillmarshHub-1.1.0.deb"});
        QCOMPARE(testfiles::read(saved), package);
    }

    // The same release with one thing wrong: nothing is left in Downloads.
    void selfUpdateRefuses_data()
    {
        QTest::addColumn<QString>("problem");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("one byte changed") << "tampered" << QByteArray("signature");
        QTest::newRow("signed with another key") << "other key" << QByteArray("signature");
        QTest::newRow("length differs") << "length" << QByteArray("bytes");
        QTest::newRow("broken off") << "truncated" << QByteArray("not saved");
    }
    void selfUpdateRefuses()
    {
        QFETCH(QString, problem);
        Signed announced = release;
        if (problem == "tampered") {
            QByteArray changed = package;
            changed[package.size() - 1] = char(changed[package.size() - 1] ^ 0x01);
            service.setRoute("/hub/QuillmarshHub-1.1.0.deb", Route{.body = changed});
        } else if (problem == "other key") {
            const ProcessRun run = sign({"sign", packagePath, "--key", otherKeyFile});
            announced = parseSignOutput(run.out);
        } else if (problem == "length") {
            announced.length += 1;
        } else {
            service.setRoute("/hub/QuillmarshHub-1.1.0.deb", Route{.body = package, .truncateAfter = 1000});
        }
        serveAppcast({hubRelease(announced).item()});

        const ProcessRun run = hub({"self-update"});
        QCOMPARE(run.exitCode, 1);
        QFETCH(QByteArray, message);
        QVERIFY2(run.err.contains(message), run.err.constData());
        QVERIFY(!run.out.contains(QFile::encodeName(downloads())));
        QVERIFY(testfiles::downloadsListing().isEmpty());
    }

    void checkOnlyDownloadsNothing()
    {
        const int before = service.requestCount("/hub/QuillmarshHub-1.1.0.deb");
        const ProcessRun run = hub({"self-update", "--check-only"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, "Running version: 1.0.0\nNewest version: 1.1.0\nUpdate available: 1.1.0\n");
        QCOMPARE(service.requestCount("/hub/QuillmarshHub-1.1.0.deb"), before);
        QVERIFY(testfiles::downloadsListing().isEmpty());
    }

    void jsonReport()
    {
        const ProcessRun run = hub({"self-update", "--json"});
        QCOMPARE(run.exitCode, 0);
        const QJsonObject report = QJsonDocument::fromJson(run.out).object();
        QCOMPARE(report.value("runningVersion").toString(), "1.0.0");
        QCOMPARE(report.value("newestVersion").toString(), "1.1.0");
        QCOMPARE(report.value("updateAvailable").toBool(), true);
        QCOMPARE(report.value("savedPath").toString(), downloads() + "/QuillmarshHub-1.1.0.deb");
        QVERIFY(report.value("error").isNull());
        const QJsonObject offered = report.value("release").toObject();
        QCOMPARE(offered.value("version").toString(), "110");
        QCOMPARE(offered.value("shortVersion").toString(), "1.1.0");
        QCOMPARE(offered.value("length").toInteger(), package.size());
        QCOMPARE(offered.value("url").toString(), service.url("/hub/QuillmarshHub-1.1.0.deb").toString());

        serveAppcast({});
        const ProcessRun upToDate = hub({"self-update", "--json", "--check-only"});
        QCOMPARE(upToDate.exitCode, 0);
        const QJsonObject empty = QJsonDocument::fromJson(upToDate.out).object();
        QVERIFY(empty.value("newestVersion").isNull());
        QCOMPARE(empty.value("updateAvailable").toBool(), false);
        QVERIFY(empty.value("release").isNull());
        QVERIFY(empty.value("savedPath").isNull());
    }

    void upToDate()
    {
        Release current = hubRelease(release);
        current.version = current.shortVersion = "1.0.0";
        serveAppcast({current.item()});
        const ProcessRun run = hub({"self-update"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, "Running version: 1.0.0\nNewest version: 1.0.0\nUp to date.\n");
        QVERIFY(testfiles::downloadsListing().isEmpty());
    }

    void failures_data()
    {
        QTest::addColumn<Route>("appcast");
        QTest::addColumn<QString>("appcastUrl");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("server error") << Route{.status = 500} << "" << "" << QByteArray("HTTP 500");
        QTest::newRow("not XML") << Route{.body = "<rss><channel>"} << "" << "" << QByteArray("XML");
        QTest::newRow("plain http elsewhere") << Route{} << "http://updates.quillmarsh.example/appcast.xml" << ""
                                              << QByteArray("loopback");
        QTest::newRow("unusable key") << Route{} << "" << "bm90IGEga2V5" << QByteArray("key");
    }
    void failures()
    {
        QFETCH(Route, appcast);
        QFETCH(QString, appcastUrl);
        QFETCH(QString, key);
        if (!appcast.body.isEmpty() || appcast.status != 200)
            service.setRoute("/hub/appcast.xml", appcast);
        const ProcessRun run = hub({"self-update"}, appcastUrl, key);
        QCOMPARE(run.exitCode, 1);
        QFETCH(QByteArray, message);
        QVERIFY2(run.err.contains(message), run.err.constData());
        QVERIFY(run.out.startsWith("Running version: 1.0.0\n"));
        QVERIFY(testfiles::downloadsListing().isEmpty());
    }

    void usage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("extra argument") << QStringList{"self-update", "now"};
        QTest::newRow("reveal") << QStringList{"self-update", "--reveal"};
        QTest::newRow("check-only elsewhere") << QStringList{"status", "--check-only"};
        QTest::newRow("check-only alone") << QStringList{"--check-only"};
    }
    void usage()
    {
        QFETCH(QStringList, arguments);
        const int before = service.requestCount("/hub/appcast.xml");
        const ProcessRun run = hub(arguments);
        QCOMPARE(run.exitCode, 2);
        QVERIFY(run.err.contains("Usage"));
        QCOMPARE(service.requestCount("/hub/appcast.xml"), before);
    }
};

HUB_TEST_MAIN(SelfUpdateCommandsTest)
#include "tst_selfupdatecommands.moc"
