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

namespace {

QString downloads() { return TestSandbox::current().downloads(); }

} // namespace

class InstallerDownloadTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;
    std::unique_ptr<UpdateManager> manager;

    installers::DownloadResult download(const QString &path, const QString &id = "p")
    {
        const QString url = path.startsWith('/') ? service.baseUrl().toString() + path : path;
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

    // The URL's last path component, decoded; `<id>.dmg` when that cannot
    // name one file in Downloads; refused when the id cannot either.
    void fileNames_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("expected"); // empty: refused
        QTest::newRow("plain") << "https://dl.example/a/Product.dmg" << "p" << "Product.dmg";
        QTest::newRow("query and fragment dropped") << "https://dl.example/P.dmg?x=1#y" << "p" << "P.dmg";
        QTest::newRow("escapes decoded") << "https://dl.example/My%20Plug%E2%84%A2.pkg" << "p" << "My Plug™.pkg";
        QTest::newRow("trailing slash") << "https://dl.example/files/" << "p" << "files";
        QTest::newRow("dot dot") << "https://dl.example/a/%2E%2E" << "p" << "p.dmg";
        QTest::newRow("escaped slash") << "https://dl.example/a/..%2F..%2Fetc%2Fpasswd" << "p" << "p.dmg";
        QTest::newRow("escaped NUL") << "https://dl.example/a/x%00.dmg" << "p" << "p.dmg";
        QTest::newRow("hidden name kept") << "https://dl.example/.hidden" << "p" << ".hidden";
        QTest::newRow("id with slash refused") << "https://dl.example/" << "../p" << "";
    }
    void fileNames()
    {
        QFETCH(QString, url);
        QFETCH(QString, id);
        QTEST(installers::fileName(QUrl(url), id).value_or(QString()), "expected");
    }

    // Saved, readable by others, revealed; it replaces an older file of the
    // same name, whatever the HTTP status; large bodies stream to disk; an
    // unsafe name falls back and stays inside Downloads.
    void savesRevealsAndReplaces_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<Route>("route");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("name");
        const qint64 big = 24 * 1024 * 1024;
        QTest::newRow("new installer") << "/files/Product.dmg" << Route{.body = "new"} << QByteArray("new") << "Product.dmg";
        QTest::newRow("404 page") << "/files/Product.dmg" << Route{.status = 404, .body = "not found page"}
                                  << QByteArray("not found page") << "Product.dmg";
        QTest::newRow("24 MiB") << "/files/Product.dmg" << Route{.generatedSize = big} << LocalHttpService::generatedBytes(0, big)
                                << "Product.dmg";
        QTest::newRow("unsafe name") << "/a/..%2F..%2Fescape" << Route{.body = "x"} << QByteArray("x") << "p.dmg";
    }
    void savesRevealsAndReplaces()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        QFETCH(QString, name);
        QVERIFY(testfiles::write(downloads() + "/" + name, "an older installer, longer than the new one"));
        QFETCH(Route, route);
        service.setRoute(QUrl::fromPercentEncoding(path.toUtf8()), route); // the service decodes paths
        const auto result = download(path);
        QVERIFY2(result.outcome.ok(), qPrintable(result.outcome.error));
        QCOMPARE(result.savedPath, downloads() + "/" + name);
        QVERIFY(testfiles::read(result.savedPath) == body); // QCOMPARE would print megabytes
        QVERIFY(QFileInfo(result.savedPath).permissions().testFlag(QFileDevice::ReadOther));
        QCOMPARE(host.revealer.revealed, QStringList{result.savedPath});
        QCOMPARE(testfiles::downloadsListing(), QStringList{name});
        QVERIFY(!QFile::exists(TestSandbox::current().home() + "/escape"));
    }

    // A failed download leaves Downloads as it was: no temporary file, the
    // older file (or folder) of the same name kept, nothing revealed.
    void failuresLeaveNothingBehind_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("folderInTheWay");
        QTest::newRow("broken off") << "/broken/Product.dmg" << false;
        QTest::newRow("refused connection") << "http://127.0.0.1:1/Product.dmg" << false;
        QTest::newRow("unsupported scheme") << "gopher://dl.example/Product.dmg" << false;
        QTest::newRow("folder of that name") << "/whole/Product.dmg" << true;
    }
    void failuresLeaveNothingBehind()
    {
        QFETCH(QString, url);
        QFETCH(bool, folderInTheWay);
        service.setRoute("/broken/Product.dmg", Route{.body = QByteArray(4096, 'x'), .truncateAfter = 100});
        service.setRoute("/whole/Product.dmg", Route{.body = "x"});
        const QString existing = downloads() + "/Product.dmg";
        QVERIFY(folderInTheWay ? QDir().mkpath(existing + "/inside") : testfiles::write(existing, "keep me"));
        QSignalSpy downloading(manager.get(), &UpdateManager::downloadingIdsChanged);
        QVERIFY(!download(url).outcome.ok());
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.dmg"});
        QVERIFY(folderInTheWay ? QFileInfo(existing + "/inside").isDir() : testfiles::read(existing) == "keep me");
        QVERIFY(host.revealer.revealed.isEmpty());
        QCOMPARE(downloading.count(), 2);
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
        QCOMPARE(host.revealer.revealed.size(), 2);
    }
};

HUB_TEST_MAIN(InstallerDownloadTest)
#include "tst_installerdownload.moc"
