#include "SelfUpdateFixtures.h"
#include "selfupdate/Appcast.h"
#include "selfupdate/ReleaseNotes.h"
#include "support/TestSandbox.h"

#include <QtTest>

using selfupdatefixtures::Release;
using selfupdatefixtures::document;

namespace {

// Parsing only checks that a signature is 64 bytes of base64.
const QString AnySignature = QString::fromLatin1(QByteArray(64, 's').toBase64());

Release release(const QString &version, const QString &shortVersion = {})
{
    const QString url = "https://dl.quillmarsh.example/QuillmarshHub-" + (shortVersion.isEmpty() ? version : shortVersion) + ".deb";
    return {version, shortVersion, url, QStringLiteral("1234"), AnySignature};
}

} // namespace

class AppcastTest : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryPieceOfAnItem()
    {
        Release full = release("412", "1.4.0");
        full.title = "Quillmarsh Hub 1.4 & more";
        full.description = "<p>New <b>things</b></p>";
        full.notesLink = "https://www.quillmarsh.example/hub/notes/1.4.html";
        full.os = "linux";
        QByteArray item = full.item();
        item.replace("</item>", "<sparkle:criticalUpdate sparkle:version=\"1.2\"/></item>");

        const auto appcast = Appcast::parse(document({item}));
        QVERIFY(appcast && appcast->items().size() == 1);
        const AppcastItem &parsed = appcast->items().first();
        QCOMPARE(parsed.title, "Quillmarsh Hub 1.4 & more");
        QCOMPARE(parsed.publicationDate, QDateTime(QDate(2026, 11, 23), QTime(14, 5), Qt::UTC));
        QCOMPARE(parsed.comparableVersion(), "1.4.0");
        QCOMPARE(parsed.description, "<p>New <b>things</b></p>");
        QCOMPARE(parsed.releaseNotesLink, QUrl("https://www.quillmarsh.example/hub/notes/1.4.html"));
        QCOMPARE(parsed.length, 1234);
        // Critical only for versions below the one the element names.
        QVERIFY(parsed.isCriticalFor("1.1.9"));
        QVERIFY(!parsed.isCriticalFor("1.2"));
    }

    // The namespace decides, whatever its prefix; a document that is not a
    // well-formed RSS feed of at most 1 MiB yields no feed at all.
    void documents_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<bool>("parsed");
        QTest::addColumn<QStringList>("versions");
        const QByteArray good = document({release("1.1").item()});
        QTest::newRow("usual prefix") << good << true << QStringList{"1.1"};
        QByteArray local = release("1.1").item("q");
        local.replace("<item>", QByteArray("<item xmlns:q=\"") + Appcast::SparkleNamespace + "\">");
        QTest::newRow("declared on the item")
            << QByteArray("<rss version=\"2.0\"><channel>" + local + "</channel></rss>") << true << QStringList{"1.1"};
        QByteArray foreign = good;
        foreign.replace(Appcast::SparkleNamespace, "http://example.com/not-the-feed-namespace");
        QTest::newRow("sparkle prefix, other namespace") << foreign << true << QStringList{};
        QTest::newRow("no namespace at all") << QByteArray(good).replace("sparkle:", "") << true << QStringList{};
        QTest::newRow("empty channel") << document({}) << true << QStringList{};
        QByteArray atCap = good;
        atCap.insert(atCap.indexOf("<rss"), "<!--" + QByteArray(Appcast::MaximumSize - good.size() - 7, 'x') + "-->");
        QTest::newRow("exactly 1 MiB") << atCap << true << QStringList{"1.1"};

        QTest::newRow("over 1 MiB") << QByteArray(atCap).insert(atCap.indexOf("<!--") + 4, 'x') << false << QStringList{};
        QTest::newRow("empty") << QByteArray() << false << QStringList{};
        QTest::newRow("cut short") << good.left(good.size() / 2) << false << QStringList{};
        QTest::newRow("html page") << QByteArray("<html><body>Service unavailable</body></html>") << false << QStringList{};
        QTest::newRow("garbage after the feed") << good + "<rss/>" << false << QStringList{};
        QTest::newRow("undeclared prefix")
            << QByteArray("<rss><channel><item><x:version>1</x:version></item></channel></rss>") << false << QStringList{};
        QTest::newRow("dtd with entities")
            << QByteArray("<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY a \"aaaa\">]><rss><channel/></rss>") << false
            << QStringList{};
    }
    void documents()
    {
        QFETCH(QByteArray, xml);
        QFETCH(bool, parsed);
        QString error;
        const auto appcast = Appcast::parse(xml, &error);
        QCOMPARE(bool(appcast), parsed);
        QCOMPARE(error.isEmpty(), parsed);
        if (parsed) {
            QStringList versions;
            for (const AppcastItem &item : appcast->items())
                versions << item.comparableVersion();
            QTEST(versions, "versions");
        }
    }

    // Each row is one 2.0 item next to a good 1.0 one, which always stays;
    // an item left out is never offered.
    void itemsLeftOut_data()
    {
        QTest::addColumn<QByteArray>("item");
        QTest::addColumn<bool>("usable");
        auto with = [](auto change) {
            Release r = release("2.0");
            change(r);
            return r.item();
        };
        QTest::newRow("complete") << release("2.0").item() << true;
        QTest::newRow("linux, any case") << with([](Release &r) { r.os = "Linux"; }) << true;
        QTest::newRow("other system") << with([](Release &r) { r.os = "windows"; }) << false;
        QTest::newRow("no signature") << with([](Release &r) { r.signature.clear(); }) << false;
        QTest::newRow("signature too short") << with([](Release &r) { r.signature = QByteArray(63, 's').toBase64(); }) << false;
        QTest::newRow("zero length") << with([](Release &r) { r.length = "0"; }) << false;
        QTest::newRow("length not a number") << with([](Release &r) { r.length = "12kB"; }) << false;
        QTest::newRow("relative url") << with([](Release &r) { r.url = "QuillmarshHub.deb"; }) << false;
        QTest::newRow("plain http elsewhere") << with([](Release &r) { r.url = "http://dl.example/h.deb"; }) << false;
        QTest::newRow("plain http here") << with([](Release &r) { r.url = "http://127.0.0.1:8080/h.deb"; }) << true;
        QTest::newRow("no version at all") << with([](Release &r) { r.version.clear(); }) << false;
        QTest::newRow("bad notes link costs only the link")
            << with([](Release &r) { r.notesLink = "javascript:alert(1)"; }) << true;

        QByteArray noEnclosure = release("2.0").item();
        noEnclosure.truncate(noEnclosure.indexOf("<enclosure"));
        QTest::newRow("no enclosure") << noEnclosure + "</item>" << false;
        QTest::newRow("version on the enclosure")
            << release("").item().replace("<enclosure", "<enclosure sparkle:version=\"2.0\"") << true;
        // One item, a download per system: the Linux one is chosen.
        QByteArray both = with([](Release &r) { r.os = "macos"; r.url = "https://dl.quillmarsh.example/mac.dmg"; });
        both.replace("</item>", "<enclosure url=\"https://dl.quillmarsh.example/linux.deb\" length=\"9\" sparkle:os=\"linux\" "
                                "sparkle:edSignature=\"" + AnySignature.toLatin1() + "\"/></item>");
        QTest::newRow("linux enclosure after another") << both << true;
    }
    void itemsLeftOut()
    {
        QFETCH(QByteArray, item);
        QFETCH(bool, usable);
        const auto appcast = Appcast::parse(document({release("1.0").item(), item}));
        QVERIFY(appcast);
        QCOMPARE(appcast->items().size(), usable ? 2 : 1);
        QCOMPARE(appcast->ignoredItemCount(), usable ? 0 : 1);
        QCOMPARE(appcast->newestNewerThan("0.9")->comparableVersion(), usable ? "2.0" : "1.0");
        const AppcastItem &last = appcast->items().last();
        if (QTest::currentDataTag() == QByteArray("linux enclosure after another"))
            QCOMPARE(last.url, QUrl("https://dl.quillmarsh.example/linux.deb"));
        if (QTest::currentDataTag() == QByteArray("bad notes link costs only the link"))
            QVERIFY(last.releaseNotesLink.isEmpty());
    }

    // Items are (version, short version) pairs in document order.
    void choiceOfRelease_data()
    {
        QTest::addColumn<QList<QStringList>>("items");
        QTest::addColumn<QString>("running");
        QTest::addColumn<QString>("newest");
        QTest::addColumn<QString>("offered"); // empty: none
        QTest::newRow("newest wherever it is")
            << QList<QStringList>{{"1.1"}, {"1.3"}, {"1.2"}} << "1.0.0" << "1.3" << "1.3";
        QTest::newRow("numeric, not textual") << QList<QStringList>{{"1.9"}, {"1.10"}} << "1.0" << "1.10" << "1.10";
        QTest::newRow("nothing newer than running") << QList<QStringList>{{"1.0"}, {"0.9"}} << "1.0.0" << "1.0" << "";
        QTest::newRow("short version decides")
            << QList<QStringList>{{"900", "1.0.1"}, {"120", "1.2"}} << "1.1" << "1.2" << "1.2";
        QTest::newRow("first of equals") << QList<QStringList>{{"A", "2.0"}, {"B", "2.0.0"}} << "1.0" << "2.0" << "2.0";
    }
    void choiceOfRelease()
    {
        QFETCH(QList<QStringList>, items);
        QFETCH(QString, running);
        QList<QByteArray> xml;
        for (const QStringList &versions : items)
            xml << release(versions.value(0), versions.value(1)).item();
        const auto appcast = Appcast::parse(document(xml));
        QVERIFY(appcast);
        QTEST(appcast->newest().value_or(AppcastItem()).comparableVersion(), "newest");
        QTEST(appcast->newestNewerThan(running).value_or(AppcastItem()).comparableVersion(), "offered");
        if (QTest::currentDataTag() == QByteArray("first of equals"))
            QCOMPARE(appcast->newest()->version, "A");
    }

    void releaseNotesAreSanitised_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("expected");
        QTest::newRow("allowed tags kept")
            << "<h2>New</h2><ul><li><b>Fast</b> and <i>small</i></li></ul><ol><li><em>x</em><strong>y</strong></li></ol>"
            << "<h2>New</h2><ul><li><b>Fast</b> and <i>small</i></li></ul><ol><li><em>x</em><strong>y</strong></li></ol>";
        QTest::newRow("tag names in capitals") << "<P>One<BR/>Two</P>" << "<p>One<br>Two</p>";
        QTest::newRow("script and its text dropped") << "<p>a</p><script>alert('x')</script><p>b</p>" << "<p>a</p><p>b</p>";
        QTest::newRow("head of a full page dropped")
            << "<!DOCTYPE html><html><head><title>T</title></head><body><h1>Hi</h1></body></html>" << "<h1>Hi</h1>";
        QTest::newRow("unknown tags dropped, text kept") << "<div><span>a</span><table><tr><td>b</td></tr></table></div>" << "ab";
        QTest::newRow("https link kept")
            << "<a href=\"https://quillmarsh.example/notes?a=1&amp;b=2\" target=\"_blank\" onclick=\"x()\">notes</a>"
            << "<a href=\"https://quillmarsh.example/notes?a=1&amp;b=2\">notes</a>";
        QTest::newRow("unquoted http link kept") << "<a href=http://quillmarsh.example/n>n</a>" << "<a href=\"http://quillmarsh.example/n\">n</a>";
        QTest::newRow("encoded javascript link dropped, text kept") << "<a href=\"jav&#x61;script:alert(1)\">x</a>" << "x";
        QTest::newRow("quote in a link refuses the link") << "<a href='https://q.example/\"onmouseover=\"x'>x</a>" << "x";
        QTest::newRow("unclosed link closed") << "<p><a href=\"https://q.example\">x</p>" << "<p><a href=\"https://q.example\">x</p></a>";
        QTest::newRow("comments dropped") << "a<!-- <script>x</script> -->b" << "ab";
        QTest::newRow("stray angle brackets escaped") << "1 < 2 > 0" << "1 &lt; 2 &gt; 0";
        QTest::newRow("entities kept") << "caf&eacute; &amp; more" << "caf&eacute; &amp; more";
        QTest::newRow("unterminated script swallows the rest") << "a<script>b" << "a";
    }
    void releaseNotesAreSanitised()
    {
        QFETCH(QString, html);
        QTEST(releasenotes::sanitize(html), "expected");
    }
};

HUB_TEST_MAIN(AppcastTest)
#include "tst_appcast.moc"
