#include "SelfUpdateFixtures.h"
#include "selfupdate/ReleaseNotes.h"
#include "support/TestSandbox.h"

#include <QtTest>

using selfupdatefixtures::Release;
using selfupdatefixtures::document;

// Parsing only checks that a signature is 64 bytes of base64.
static Release release(const QString &version, const QString &shortVersion = {})
{
    const QString url = "https://dl.quillmarsh.example/QuillmarshHub-" + version + ".deb";
    return {version, shortVersion, url, QStringLiteral("1234"), QString::fromLatin1(QByteArray(64, 's').toBase64())};
}

class AppcastTest : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryPieceOfAnItem()
    {
        Release full = release("412", "1.4.0");
        full.description = "<p>New <b>things</b></p>";
        full.notesLink = "https://www.quillmarsh.example/hub/notes/1.4.html";
        full.os = "linux";
        full.critical = true;
        const auto appcast = Appcast::parse(document({full.item()}));
        QVERIFY(appcast && appcast->items().size() == 1);
        const AppcastItem &parsed = appcast->items().first();
        QCOMPARE(parsed.comparableVersion(), "1.4.0");
        QCOMPARE(parsed.url, QUrl(full.url));
        QCOMPARE(parsed.length, 1234);
        QCOMPARE(parsed.description, "<p>New <b>things</b></p>");
        QCOMPARE(parsed.releaseNotesLink, QUrl(full.notesLink));
        QVERIFY(parsed.isCriticalFor("1.0"));
    }

    // The namespace URI decides, whatever its prefix; a document that is not
    // well-formed XML of at most 1 MiB yields no feed at all.
    void documents_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<bool>("parsed");
        QTest::addColumn<int>("items");
        const QByteArray good = document({release("1.1").item()});
        QTest::newRow("usual prefix") << good << true << 1;
        QTest::newRow("other prefix") << document({release("1.1").item("q")}, "q") << true << 1;
        QByteArray foreign = good;
        foreign.replace(Appcast::SparkleNamespace, "http://example.com/not-the-feed-namespace");
        QTest::newRow("sparkle prefix, other namespace") << foreign << true << 0;
        QByteArray oversized = good;
        oversized.insert(oversized.indexOf("<rss"), "<!--" + QByteArray(Appcast::MaximumSize, 'x') + "-->");
        QTest::newRow("over 1 MiB") << oversized << false << 0;
        QTest::newRow("cut short") << good.left(good.size() / 2) << false << 0;
        QByteArray deep = good;
        deep.insert(deep.indexOf("</channel>"), QByteArray("<x>").repeated(100000) + QByteArray("</x>").repeated(100000));
        QTest::newRow("nested 100,000 deep") << deep << false << 0;
    }
    void documents()
    {
        QFETCH(QByteArray, xml);
        QFETCH(bool, parsed);
        const auto appcast = Appcast::parse(xml);
        QCOMPARE(bool(appcast), parsed);
        if (parsed)
            QTEST(int(appcast->items().size()), "items");
    }

    // The newest release newer than the running 1.0.0 is offered; items
    // that are unusable are left out and never offered.
    void choiceOfRelease_data()
    {
        QTest::addColumn<QList<QByteArray>>("items");
        QTest::addColumn<QString>("offered"); // empty: none
        auto broken = [](auto change) {
            Release r = release("2.0");
            change(r);
            return QList<QByteArray>{release("1.1").item(), r.item()};
        };
        QTest::newRow("newest wherever it is")
            << QList<QByteArray>{release("1.1").item(), release("1.3").item(), release("1.2").item()} << "1.3";
        QTest::newRow("numeric, not textual") << QList<QByteArray>{release("1.9").item(), release("1.10").item()} << "1.10";
        QTest::newRow("nothing newer") << QList<QByteArray>{release("1.0").item(), release("0.9").item()} << "";
        QTest::newRow("other system") << broken([](Release &r) { r.os = "windows"; }) << "1.1";
        QTest::newRow("no signature") << broken([](Release &r) { r.signature.clear(); }) << "1.1";
        QTest::newRow("no version") << broken([](Release &r) { r.version.clear(); }) << "1.1";
        QByteArray noEnclosure = release("2.0").item();
        noEnclosure.truncate(noEnclosure.indexOf("<enclosure"));
        QTest::newRow("no enclosure") << QList<QByteArray>{release("1.1").item(), noEnclosure + "</item>"} << "1.1";
    }
    void choiceOfRelease()
    {
        QFETCH(QList<QByteArray>, items);
        const auto appcast = Appcast::parse(document(items));
        QVERIFY(appcast);
        QTEST(appcast->newestNewerThan("1.0.0").value_or(AppcastItem()).comparableVersion(), "offered");
    }

    void releaseNotesAreSanitised_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("expected");
        QTest::newRow("script and its text dropped") << "<p>a</p><script>alert('x')</script><p>b</p>" << "<p>a</p><p>b</p>";
        QTest::newRow("javascript link dropped, text kept") << "<a href=\"jav&#x61;script:alert(1)\">x</a>" << "x";
        QTest::newRow("https link kept, handlers dropped")
            << "<a href=\"https://quillmarsh.example/notes\" onclick=\"x()\">notes</a>"
            << "<a href=\"https://quillmarsh.example/notes\">notes</a>";
        // 4 MiB of '&' in an attribute: linear work takes milliseconds, a
        // forward search from each '&' would outlast the suite's timeout.
        QTest::newRow("many ampersands") << "<p title=\"" + QString(4 * 1024 * 1024, u'&') + "\">t</p>" << "<p>t</p>";
    }
    void releaseNotesAreSanitised()
    {
        QFETCH(QString, html);
        QTEST(releasenotes::sanitize(html), "expected");
    }
};

HUB_TEST_MAIN(AppcastTest)
#include "tst_appcast.moc"
