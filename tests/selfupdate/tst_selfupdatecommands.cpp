#include "SelfUpdateFixtures.h"
#include "support/Files.h"
#include "support/ProcessRun.h"
#include "support/LocalHttpService.h"
#include "support/TestSandbox.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QtTest>

using Route = LocalHttpService::Route;

// The self-update command and the release signing tool, run as the real
// binaries against the local service inside the sandboxed HOME.
class SelfUpdateCommandsTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    const QByteArray package = LocalHttpService::generatedBytes(0, 300 * 1000);
    const QString home = TestSandbox::current().home();
    const QString saved = TestSandbox::current().downloads() + "/QuillmarshHub-1.1.0.deb";
    QHash<QString, QString> files; // placeholder → path, key or signature, for arguments

    ProcessRun sign(const QStringList &arguments)
    {
        return runProcess(QUILLMARSH_HUB_SIGN_BINARY, arguments, QProcessEnvironment::systemEnvironment());
    }

    // Announces the package with what `sign --key <key>` printed.
    void serveRelease(const QString &key)
    {
        static const QRegularExpression printed(QStringLiteral("^sparkle:edSignature=\"([A-Za-z0-9+/=]+)\" length=\"(\\d+)\"\\n$"));
        const QRegularExpressionMatch match = printed.match(QString::fromUtf8(sign({"sign", files["PACKAGE"], "--key", key}).out));
        QVERIFY(match.hasMatch());
        QCOMPARE(match.captured(2).toLongLong(), package.size());
        files["SIGNATURE"] = match.captured(1);
        selfupdatefixtures::Release r{"110", "1.1.0", service.url("/hub/QuillmarshHub-1.1.0.deb").toString(), match.captured(2),
                                      match.captured(1)};
        service.setRoute("/hub/appcast.xml", Route{.body = selfupdatefixtures::document({r.item()})});
        service.setRoute("/hub/QuillmarshHub-1.1.0.deb", Route{.body = package});
    }

    ProcessRun hub(const QStringList &arguments)
    {
        QProcessEnvironment environment = headlessHubEnvironment();
        environment.insert("QUILLMARSH_HUB_APPCAST_URL", service.url("/hub/appcast.xml").toString());
        environment.insert("QUILLMARSH_HUB_UPDATE_PUBLIC_KEY", files["PUBLIC"]);
        return runProcess(QUILLMARSH_HUB_BINARY, arguments, environment);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        QVERIFY(QDir().mkpath(home + "/keys"));
        files = {{"KEY", home + "/keys/release.key"}, {"OTHER_KEY", home + "/keys/other.key"},
                 {"PACKAGE", home + "/release/QuillmarshHub-1.1.0.deb"}};
        for (const QString key : {"KEY", "OTHER_KEY"}) {
            const ProcessRun run = sign({"generate-keys", "--key", files[key]});
            QCOMPARE(run.exitCode, 0);
            files[key == "KEY" ? "PUBLIC" : "OTHER_PUBLIC"] = QString::fromLatin1(run.out.trimmed());
            QCOMPARE(QFile::permissions(files[key]), QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                         | QFileDevice::ReadUser | QFileDevice::WriteUser);
        }
        QVERIFY(testfiles::write(files["PACKAGE"], package));
    }

    void init()
    {
        QDir(TestSandbox::current().downloads()).removeRecursively();
        serveRelease(files["KEY"]);
    }

    // A refusal prints nothing on stdout, and a private key is never replaced.
    void signTool_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("verify signed file") << QStringList{"verify", "PACKAGE", "SIGNATURE", "PUBLIC"} << 0;
        QTest::newRow("verify with another key") << QStringList{"verify", "PACKAGE", "SIGNATURE", "OTHER_PUBLIC"} << 1;
        QTest::newRow("generate over a key") << QStringList{"generate-keys", "--key", "KEY"} << 1;
    }
    void signTool()
    {
        QFETCH(QStringList, arguments);
        for (QString &argument : arguments)
            argument = files.value(argument, argument);
        const QByteArray key = testfiles::read(files["KEY"]);
        const ProcessRun run = sign(arguments);
        QTEST(run.exitCode, "exitCode");
        QCOMPARE(run.out.isEmpty(), run.exitCode != 0);
        QCOMPARE(testfiles::read(files["KEY"]), key);
    }

    // Exit 0 prints the report (SAVED: the saved file's path), 1 a refusal
    // and 2 a usage error on stderr; Downloads holds the verified release or
    // nothing.
    void selfUpdate_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("problem");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("output"); // stdout for 0, part of stderr otherwise
        const QByteArray running = "Running version: 1.0.0\nNewest version: 1.1.0\n";
        QTest::newRow("saves the verified release") << QStringList{"self-update"} << "" << 0 << running + "SAVED\n";
        QTest::newRow("check only") << QStringList{"self-update", "--check-only"} << "" << 0 << running + "Update available: 1.1.0\n";
        QTest::newRow("one byte changed") << QStringList{"self-update"} << "tampered" << 1 << QByteArray("signature");
        QTest::newRow("extra argument") << QStringList{"self-update", "now"} << "" << 2 << QByteArray("Usage");
    }
    void selfUpdate()
    {
        QFETCH(QString, problem);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, output);
        QByteArray changed = package;
        changed[0] = char(changed[0] ^ 0x80);
        if (problem == "tampered")
            service.setRoute("/hub/QuillmarshHub-1.1.0.deb", Route{.body = changed});

        QFETCH(QStringList, arguments);
        const ProcessRun run = hub(arguments);
        QCOMPARE(run.exitCode, exitCode);
        if (exitCode == 0)
            QCOMPARE(run.out, output.replace("SAVED", QFile::encodeName(saved)));
        else
            QVERIFY2(run.err.contains(output), run.err.constData());
        const bool downloaded = run.out.contains(QFile::encodeName(saved));
        QCOMPARE(testfiles::downloadsListing(), downloaded ? QStringList{"QuillmarshHub-1.1.0.deb"} : QStringList{});
        QVERIFY(!downloaded || testfiles::read(saved) == package);
    }

    void jsonReport()
    {
        const QJsonObject report = QJsonDocument::fromJson(hub({"self-update", "--json"}).out).object();
        QCOMPARE(report.value("updateAvailable").toBool(), true);
        QCOMPARE(report.value("savedPath").toString(), saved);
        QVERIFY(report.value("error").isNull());
        QCOMPARE(report.value("release").toObject().value("version").toString(), "110");
        QCOMPARE(report.value("release").toObject().value("shortVersion").toString(), "1.1.0");
    }
};

HUB_TEST_MAIN(SelfUpdateCommandsTest)
#include "tst_selfupdatecommands.moc"
