#include "platform/Download.h"
#include "platform/PartialCleanup.h"
#include "platform/PartialDownload.h"
#include "platform/ResumeRecord.h"
#include "support/Files.h"
#include "support/LocalHttpService.h"

#include <QCoroTask>
#include <QCryptographicHash>
#include <QNetworkAccessManager>
#include <QtTest>

#include <optional>

#include <sys/time.h>

using namespace std::chrono_literals;

constexpr qint64 Size = 200 * 1000;
const QByteArray Body = LocalHttpService::generatedBytes(0, Size);
const QByteArray Older = "an older installer";

static QString downloads() { return TestSandbox::current().downloads(); }

// Files named as the hub names partial downloads, and nothing else.
static QStringList partials()
{
    return testfiles::downloadsListing().filter(QRegularExpression("^\\.quillmarsh-hub-[0-9a-f]{32}\\.(part|resume)$"));
}

// Installer downloads into Downloads: checked against what the feed says,
// resumed after a break when the server allows, never leaving a visible
// incomplete file or replacing one with an unverified file.
class DownloadTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    QNetworkAccessManager network;

    platform::DownloadResult download(platform::DownloadOptions options = {})
    {
        options.limits = {-1, 1s, 1s};
        return QCoro::waitFor(platform::download(network, service.url("/files/Product.bin"), "Product.bin", downloads(), options));
    }

private slots:
    void initTestCase() { QVERIFY(service.listen()); }
    void init()
    {
        QDir(downloads()).removeRecursively();
        QVERIFY(testfiles::write(downloads() + "/Product.bin", Older));
    }

    // Absent keys check nothing; a file that differs in size (announced or
    // not) or digest is refused, saying which, and the older file stays.
    void verification_data()
    {
        QTest::addColumn<Route>("route");
        QTest::addColumn<std::optional<qint64>>("size");
        QTest::addColumn<QByteArray>("sha256");
        QTest::addColumn<QString>("error"); // empty: saved
        const QByteArray digest = QCryptographicHash::hash(Body, QCryptographicHash::Sha256);
        const Route served{.generatedSize = Size}, unannounced{.chunkSize = 4096, .generatedSize = Size};
        QTest::newRow("no keys") << served << std::optional<qint64>() << QByteArray() << "";
        QTest::newRow("both match") << served << std::optional<qint64>(Size) << digest << "";
        QTest::newRow("announced size differs") << served << std::optional<qint64>(Size + 1) << QByteArray() << "the file is 200,000 bytes, the feed says 200,001";
        QTest::newRow("longer than said") << unannounced << std::optional<qint64>(Size - 1) << QByteArray() << "the file is longer than the 199,999 bytes the feed says";
        QTest::newRow("shorter than said") << unannounced << std::optional<qint64>(Size + 5) << QByteArray() << "the file is 200,000 bytes, the feed says 200,005";
        QTest::newRow("digest differs") << served << std::optional<qint64>(Size) << QCryptographicHash::hash("other", QCryptographicHash::Sha256)
                                        << "the file's SHA-256 does not match the feed";
    }
    void verification()
    {
        QFETCH(Route, route);
        QFETCH(QString, error);
        service.setRoute("/files/Product.bin", route);
        platform::DownloadOptions options;
        QFETCH(std::optional<qint64>, size);
        options.expectedSize = size;
        QFETCH(QByteArray, sha256);
        if (!sha256.isEmpty())
            options.expectedSha256 = sha256;
        const auto result = download(options);
        QCOMPARE(result.outcome.error, error);
        QCOMPARE(testfiles::read(downloads() + "/Product.bin"), error.isEmpty() ? Body : Older);
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.bin"});
    }

    // A transfer that breaks off after the server named a validator keeps
    // its hidden partial file; the next one asks for the rest with Range and
    // If-Range, and starts over when the server sends the whole file.
    void resume_data()
    {
        QTest::addColumn<Route>("first");
        QTest::addColumn<Route>("second");
        QTest::addColumn<bool>("kept");   // the first attempt left a partial file
        QTest::addColumn<int>("status"); // of the second answer; 206 continues
        const Route cut{.generatedSize = Size, .truncateAfter = 60000}, whole{.generatedSize = Size};
        QTest::newRow("broken off, resumed") << cut << whole << true << 206;
        QTest::newRow("timed out, resumed") << Route{.generatedSize = Size, .bytesPerSecond = 60000} << whole << true << 206;
        QTest::newRow("range ignored") << cut << Route{.body = Body} << true << 200;
        QTest::newRow("validator changed") << cut << Route{.generatedSize = Size, .etag = "\"v2\""} << true << 200;
        QTest::newRow("no validator, nothing kept") << Route{.body = Body, .truncateAfter = 60000} << whole << false << 200;
    }
    void resume()
    {
        QFETCH(Route, first);
        QFETCH(Route, second);
        QFETCH(bool, kept);
        service.setRoute("/files/Product.bin", first);
        QVERIFY(!download().outcome.ok());
        QCOMPARE(testfiles::read(downloads() + "/Product.bin"), Older);
        QCOMPARE(partials().size(), kept ? 2 : 0);

        service.setRoute("/files/Product.bin", second);
        platform::DownloadOptions options;
        // Over the whole file, the part kept from before included.
        options.expectedSha256 = QCryptographicHash::hash(Body, QCryptographicHash::Sha256);
        platform::DownloadControl control;
        qint64 firstReport = -1;
        connect(&control, &platform::DownloadControl::progress, this, [&](qint64 received, qint64 total) {
            if (firstReport < 0)
                firstReport = received;
            QCOMPARE(total, Size);
        });
        options.control = &control;
        QVERIFY(download(options).outcome.ok());
        QCOMPARE(testfiles::read(downloads() + "/Product.bin"), Body);
        QCOMPARE(testfiles::downloadsListing(), QStringList{"Product.bin"});
        const QByteArray range = service.lastRequestHeader("/files/Product.bin", "Range");
        QCOMPARE(range.isEmpty(), !kept);
        QCOMPARE(service.lastRequestHeader("/files/Product.bin", "If-Range"), kept ? QByteArray("\"generated-200000\"") : QByteArray());
        QFETCH(int, status);
        QCOMPARE(firstReport > 0, status == 206);
        if (status == 206)
            QCOMPARE(range, "bytes=" + QByteArray::number(firstReport) + "-");
    }

    // At start, partial files older than a week, without a record or for a
    // URL no longer offered go; a held one and files the hub did not name stay.
    void staleCleanup()
    {
        const QDateTime now = QDateTime::currentDateTime();
        const auto leave = [&](const QString &url, std::optional<qint64> ageDays, bool record = true) {
            const QUrl address(url);
            const QString path = downloads() + "/" + platform::ResumeRecord::partialFileName(address);
            QVERIFY(testfiles::write(path, "part"));
            if (record)
                QVERIFY(testfiles::write(downloads() + "/" + platform::ResumeRecord::recordFileName(address),
                                         platform::ResumeRecord{url, "\"v\""}.encode()));
            const timeval times[2] = {{now.addDays(-*ageDays).toSecsSinceEpoch(), 0}, {now.addDays(-*ageDays).toSecsSinceEpoch(), 0}};
            QCOMPARE(::utimes(QFile::encodeName(path).constData(), times), 0);
        };
        leave("https://dl.example/fresh.bin", 6);
        leave("https://dl.example/old.bin", 8);
        leave("https://dl.example/withdrawn.bin", 0);
        leave("https://dl.example/unrecorded.bin", 0, false);
        leave("https://dl.example/held.bin", 30);
        QVERIFY(testfiles::write(downloads() + "/" + platform::ResumeRecord::recordFileName(QUrl("https://dl.example/gone.bin")), "x"));
        const QStringList foreign{".quillmarsh-hub-1234.part", ".quillmarsh-hub-abcdefabcdefabcdefabcdefabcdefzz.part", "Other.part", "Product.bin"};
        for (const QString &name : foreign)
            QVERIFY(testfiles::write(downloads() + "/" + name, "not ours"));
        platform::PartialDownload held(downloads(), QUrl("https://dl.example/held.bin"));
        QString why;
        QVERIFY(held.open(&why));

        const QList<QUrl> offered{QUrl("https://dl.example/fresh.bin"), QUrl("https://dl.example/old.bin"), QUrl("https://dl.example/unrecorded.bin")};
        platform::PartialCleanup::removeStale(downloads(), offered, now);
        QStringList expected = foreign;
        for (const char *url : {"https://dl.example/fresh.bin", "https://dl.example/held.bin"})
            expected << platform::ResumeRecord::partialFileName(QUrl(url)) << platform::ResumeRecord::recordFileName(QUrl(url));
        expected.sort();
        QCOMPARE(testfiles::downloadsListing(), expected);
    }
};

HUB_TEST_MAIN(DownloadTest)
#include "tst_download.moc"
