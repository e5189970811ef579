#include "support/Files.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"
#include "updates/InstallerDownload.h"
#include "updates/UpdateManager.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
Q_DECLARE_METATYPE(LocalHttpService::Route)

static QString downloads() { return TestSandbox::current().downloads(); }

class InstallerDownloadTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    std::unique_ptr<UpdateManager> manager;

    platform::DownloadResult download(const QString &path)
    {
        return QCoro::waitFor(manager->download("p", service.url(path).toString(), true));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        host.limits.installer = {64 * 1024, 200ms, 600ms};
    }

    void init()
    {
        QDir(downloads()).removeRecursively();
        QDir().mkpath(downloads());
        manager = std::make_unique<UpdateManager>(service.url("/versions"), host.host);
        host.revealer.revealed.clear();
    }

    // The URL's last path component, decoded, trailing slashes ignored as a
    // file manager would; `<id>.dmg` when that cannot name one file in
    // Downloads; refused when the id cannot either.
    void fileNames_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("expected"); // empty: refused
        QTest::newRow("query and fragment dropped") << "https://dl.example/P.dmg?x=1#y" << "p" << "P.dmg";
        QTest::newRow("trailing slash") << "https://dl.example/files/" << "p" << "files";
        QTest::newRow("trailing slashes") << "https://dl.example/a/files//" << "p" << "files";
        QTest::newRow("path only a slash") << "https://dl.example/" << "p" << "p.dmg";
        QTest::newRow("no path") << "https://dl.example" << "p" << "p.dmg";
        QTest::newRow("escapes decoded") << "https://dl.example/My%20Plug%E2%84%A2.pkg" << "p" << "My Plug™.pkg";
        QTest::newRow("dot dot") << "https://dl.example/a/%2E%2E" << "p" << "p.dmg";
        QTest::newRow("escaped slash") << "https://dl.example/a/..%2F..%2Fetc%2Fpasswd" << "p" << "p.dmg";
        QTest::newRow("id with slash refused") << "https://dl.example/" << "../p" << "";
    }
    void fileNames()
    {
        QFETCH(QString, url);
        QFETCH(QString, id);
        QTEST(installers::fileName(QUrl(url), id).value_or(QString()), "expected");
    }

    // Saved and revealed, replacing an older file of the same name, whatever the HTTP status.
    void savesRevealsAndReplaces_data()
    {
        QTest::addColumn<int>("status");
        for (const int status : {200, 404}) // every status reaching the body is the transfer's test
            QTest::addRow("%d", status) << status;
    }
    void savesRevealsAndReplaces()
    {
        QFETCH(int, status);
        const QString saved = downloads() + "/Product.dmg";
        QVERIFY(testfiles::write(saved, "an older installer, longer than the new one"));
        service.setRoute("/files/Product.dmg", Route{.status = status, .body = "not found page"});
        const auto result = download("/files/Product.dmg");
        QVERIFY2(result.outcome.ok(), qPrintable(result.outcome.error));
        QCOMPARE(result.savedPath, saved);
        QCOMPARE(testfiles::read(saved), QByteArray("not found page"));
        QCOMPARE(host.revealer.revealed, QStringList{saved});
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.dmg"});
    }

    // A transfer that fails after writing, is compressed although asked not
    // to be, or passes the installer ceiling leaves no temporary file, keeps
    // the older file and reveals nothing. (Every other way a transfer fails
    // is the transfer's own test.)
    void failureLeavesNothingBehind_data()
    {
        QTest::addColumn<Route>("route");
        QTest::newRow("broken off") << Route{.body = QByteArray(4096, 'x'), .truncateAfter = 100};
        QTest::newRow("gzip of nothing") << Route{.body = QByteArray("\x1f\x8b", 2), .headers = {{"Content-Encoding", "gzip"}}};
        QTest::newRow("over the ceiling") << Route{.chunkSize = 4096, .generatedSize = qint64(1) << 40};
    }
    void failureLeavesNothingBehind()
    {
        QFETCH(Route, route);
        service.setRoute("/broken/Product.dmg", route);
        QVERIFY(testfiles::write(downloads() + "/Product.dmg", "keep me"));
        QVERIFY(!download("/broken/Product.dmg").outcome.ok());
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.dmg"});
        QCOMPARE(testfiles::read(downloads() + "/Product.dmg"), QByteArray("keep me"));
        QVERIFY(host.revealer.revealed.isEmpty());
        QVERIFY(manager->downloadingIds().isEmpty());
    }

    void oneDownloadPerProduct()
    {
        service.setRoute("/slow.dmg", Route{.body = "slow", .delay = 100ms});
        service.setRoute("/other.dmg", Route{.body = "other"});
        manager->downloadAndReveal("p", service.url("/slow.dmg").toString());
        manager->downloadAndReveal("p", service.url("/slow.dmg").toString());
        manager->downloadAndReveal("q", service.url("/other.dmg").toString());
        QCOMPARE(manager->downloadingIds(), (QSet<QString>{"p", "q"}));
        QTRY_VERIFY(manager->downloadingIds().isEmpty());
        QCOMPARE(service.requestCount("/slow.dmg"), 1);
        QCOMPARE(testfiles::downloadsListing(), (QStringList{"other.dmg", "slow.dmg"}));
    }
};

HUB_TEST_MAIN(InstallerDownloadTest)
#include "tst_installerdownload.moc"
