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

namespace {

QString downloads() { return TestSandbox::current().downloads(); }

} // namespace

class InstallerDownloadTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    std::unique_ptr<UpdateManager> manager;

    installers::DownloadResult download(const QString &id, const QString &url)
    {
        return QCoro::waitFor(manager->download(id, url, true));
    }

private slots:
    void initTestCase() { QVERIFY(service.listen()); }

    void init()
    {
        QDir(downloads()).removeRecursively();
        QDir().mkpath(downloads());
        manager = std::make_unique<UpdateManager>(service.url("/versions"), host.host);
        host.revealer.revealed.clear();
    }

    void fileNames_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("expected"); // empty: refused
        QTest::newRow("plain") << "https://dl.example/a/Product.dmg" << "p" << "Product.dmg";
        QTest::newRow("query and fragment dropped") << "https://dl.example/P.dmg?x=1#y" << "p" << "P.dmg";
        QTest::newRow("escapes decoded") << "https://dl.example/My%20Plug%E2%84%A2.pkg" << "p" << "My Plug™.pkg";
        QTest::newRow("trailing slash") << "https://dl.example/files/" << "p" << "files";
        QTest::newRow("no path") << "https://dl.example" << "p" << "p.dmg";
        QTest::newRow("only a slash") << "https://dl.example/" << "p" << "p.dmg";
        QTest::newRow("dot") << "https://dl.example/a/%2E" << "p" << "p.dmg";
        QTest::newRow("dot dot") << "https://dl.example/a/%2E%2E" << "p" << "p.dmg";
        QTest::newRow("escaped slash") << "https://dl.example/a/..%2F..%2Fetc%2Fpasswd" << "p" << "p.dmg";
        QTest::newRow("escaped NUL") << "https://dl.example/a/x%00.dmg" << "p" << "p.dmg";
        QTest::newRow("hidden name kept") << "https://dl.example/.hidden" << "p" << ".hidden";
        QTest::newRow("id with slash refused") << "https://dl.example/" << "../p" << "";
        QTest::newRow("id with NUL refused") << "https://dl.example/" << QString("p") + QChar(0) << "";
    }
    void fileNames()
    {
        QFETCH(QString, url);
        QFETCH(QString, id);
        QFETCH(QString, expected);
        QCOMPARE(installers::fileName(QUrl(url), id).value_or(QString()), expected);
    }

    void savesRevealsAndReplaces()
    {
        QFile old(downloads() + "/Product.dmg");
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("an older installer, longer than the new one");
        old.close();
        service.setRoute("/files/Product.dmg", Route{.body = "new installer"});

        const auto result = download("p", service.url("/files/Product.dmg").toString());
        QVERIFY2(result.outcome.ok(), qPrintable(result.outcome.error));
        QCOMPARE(result.savedPath, downloads() + "/Product.dmg");
        QCOMPARE(testfiles::read(result.savedPath), "new installer");
        QVERIFY(QFileInfo(result.savedPath).permissions().testFlag(QFileDevice::ReadOther));
        QCOMPARE(host.revealer.revealed, QStringList{result.savedPath});
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.dmg"});
        QVERIFY(manager->downloadingIds().isEmpty());
    }

    void httpStatusIsNotExamined()
    {
        service.setRoute("/missing.dmg", Route{.status = 404, .body = "not found page"});
        const auto result = download("p", service.url("/missing.dmg").toString());
        QVERIFY(result.outcome.ok());
        QCOMPARE(testfiles::read(downloads() + "/missing.dmg"), "not found page");
    }

    void largeBodyStreamsToDisk()
    {
        service.setRoute("/big.dmg", Route{.generatedSize = 24 * 1024 * 1024});
        const auto result = download("p", service.url("/big.dmg").toString());
        QVERIFY(result.outcome.ok());
        QCOMPARE(testfiles::read(result.savedPath), LocalHttpService::generatedBytes(0, 24 * 1024 * 1024));
    }

    void failuresLeaveNothingBehind_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("truncated") << "/truncated.dmg";
        QTest::newRow("refused connection") << "http://127.0.0.1:1/x.dmg";
        QTest::newRow("not a url") << "http://exa mple/x.dmg";
        QTest::newRow("relative") << "x.dmg";
        QTest::newRow("unsupported scheme") << "gopher://dl.example/x.dmg";
    }
    void failuresLeaveNothingBehind()
    {
        QFETCH(QString, url);
        service.setRoute("/truncated.dmg", Route{.body = QByteArray(4096, 'x'), .truncateAfter = 100});
        QFile old(downloads() + "/truncated.dmg");
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("keep me");
        old.close();
        const QString full = url.startsWith('/') ? service.url(url).toString() : url;
        QSignalSpy downloading(manager.get(), &UpdateManager::downloadingIdsChanged);
        const auto result = download("p", full);
        QVERIFY(!result.outcome.ok());
        QCOMPARE(testfiles::downloadsListing(), QStringList{"truncated.dmg"});
        QCOMPARE(testfiles::read(old.fileName()), "keep me");
        QVERIFY(host.revealer.revealed.isEmpty());
        QCOMPARE(downloading.count(), 2);
        QVERIFY(manager->downloadingIds().isEmpty());
    }

    void folderAtDestinationIsNeverRemoved()
    {
        QDir().mkpath(downloads() + "/Product.dmg/inside");
        service.setRoute("/Product.dmg", Route{.body = "x"});
        const auto result = download("p", service.url("/Product.dmg").toString());
        QVERIFY(!result.outcome.ok());
        QVERIFY(QFileInfo(downloads() + "/Product.dmg/inside").isDir());
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.dmg"});
    }

    void unsafeNamesStayInsideDownloads()
    {
        service.setRoute("/a/..%2F..%2Fescape", Route{.body = "x"});
        const auto result = download("p", service.baseUrl().toString() + "/a/..%2F..%2Fescape");
        QVERIFY(result.outcome.ok());
        QCOMPARE(result.savedPath, downloads() + "/p.dmg");
        QVERIFY(!QFile::exists(TestSandbox::current().home() + "/escape"));
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
        QCOMPARE(service.requestCount("/other.dmg"), 1);
        QCOMPARE(testfiles::downloadsListing(), (QStringList{"other.dmg", "slow.dmg"}));
        QCOMPARE(host.revealer.revealed.size(), 2);
    }
};

HUB_TEST_MAIN(InstallerDownloadTest)
#include "tst_installerdownload.moc"
