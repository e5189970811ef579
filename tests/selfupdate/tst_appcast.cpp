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
    Release r;
    r.version = version;
    r.shortVersion = shortVersion;
    r.url = QStringLiteral("https://dl.quillmarsh.example/QuillmarshHub-%1.deb").arg(shortVersion.isEmpty() ? version : shortVersion);
    r.length = QStringLiteral("1234");
    r.signature = AnySignature;
    return r;
}

QStringList versionsOf(const Appcast &appcast)
{
    QStringList versions;
    for (const AppcastItem &item : appcast.items())
        versions << item.comparableVersion();
    return versions;
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
        QByteArray item = full.item();
        item.replace("<sparkle:criticalUpdate/>", "");
        item.replace("</item>", "<sparkle:criticalUpdate sparkle:version=\"1.2\"/></item>");
        item.replace("<enclosure", "<enclosure sparkle:os=\"linux\"");
        full.critical = true;

        const auto appcast = Appcast::parse(document({item}));
        QVERIFY(appcast);
        QCOMPARE(appcast->items().size(), 1);
        const AppcastItem &parsed = appcast->items().first();
        QCOMPARE(parsed.title, "Quillmarsh Hub 1.4 & more");
        QCOMPARE(parsed.publicationDate, QDateTime(QDate(2026, 11, 23), QTime(14, 5), Qt::UTC));
        QCOMPARE(parsed.version, "412");
        QCOMPARE(parsed.shortVersionString, "1.4.0");
        QCOMPARE(parsed.comparableVersion(), "1.4.0");
        QCOMPARE(parsed.description, "<p>New <b>things</b></p>");
        QCOMPARE(parsed.releaseNotesLink, QUrl("https://www.quillmarsh.example/hub/notes/1.4.html"));
        QCOMPARE(parsed.url, QUrl("https://dl.quillmarsh.example/QuillmarshHub-1.4.0.deb"));
        QCOMPARE(parsed.length, 1234);
        QCOMPARE(parsed.type, "application/vnd.debian.binary-package");
        QCOMPARE(parsed.edSignature, AnySignature);
        QVERIFY(parsed.critical);
        QVERIFY(parsed.isCriticalFor("1.1.9"));
        QVERIFY(!parsed.isCriticalFor("1.2"));
    }

    // The namespace decides, whatever its prefix.
    void namespaces_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QStringList>("versions");
        QTest::newRow("usual prefix") << document({release("1.1").item()}) << QStringList{"1.1"};
        QTest::newRow("other prefix") << document({release("1.1").item("su")}, "su") << QStringList{"1.1"};
        QByteArray local = release("1.1").item("q");
        local.replace("<item>", QByteArray("<item xmlns:q=\"") + Appcast::SparkleNamespace + "\">");
        QTest::newRow("declared on the item")
            << QByteArray("<rss version=\"2.0\"><channel>" + local + "</channel></rss>") << QStringList{"1.1"};
        QByteArray foreign = document({release("1.1").item()});
        foreign.replace(Appcast::SparkleNamespace, "http://example.com/not-the-feed-namespace");
        QTest::newRow("sparkle prefix, other namespace") << foreign << QStringList{};
        QByteArray unprefixed = document({release("1.1").item()});
        unprefixed.replace("sparkle:", "");
        QTest::newRow("no namespace at all") << unprefixed << QStringList{};
    }
    void namespaces()
    {
        QFETCH(QByteArray, xml);
        QString error;
        const auto appcast = Appcast::parse(xml, &error);
        QVERIFY2(appcast, qPrintable(error));
        QTEST(versionsOf(*appcast), "versions");
    }

    // Each row is one item next to a good one; the good one always stays.
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
        QTest::newRow("macOS") << with([](Release &r) { r.os = "macos"; }) << false;
        QTest::newRow("no signature") << with([](Release &r) { r.signature.clear(); }) << false;
        QTest::newRow("signature not base64") << with([](Release &r) { r.signature = "not*base64!"; }) << false;
        QTest::newRow("signature too short")
            << with([](Release &r) { r.signature = QByteArray(63, 's').toBase64(); }) << false;
        QTest::newRow("no length") << with([](Release &r) { r.length.clear(); }) << false;
        QTest::newRow("zero length") << with([](Release &r) { r.length = "0"; }) << false;
        QTest::newRow("negative length") << with([](Release &r) { r.length = "-5"; }) << false;
        QTest::newRow("length not a number") << with([](Release &r) { r.length = "12kB"; }) << false;
        QTest::newRow("no url") << with([](Release &r) { r.url.clear(); }) << false;
        QTest::newRow("relative url") << with([](Release &r) { r.url = "QuillmarshHub.deb"; }) << false;
        QTest::newRow("plain http elsewhere") << with([](Release &r) { r.url = "http://dl.example/h.deb"; }) << false;
        QTest::newRow("plain http here") << with([](Release &r) { r.url = "http://127.0.0.1:8080/h.deb"; }) << true;
        QTest::newRow("ftp") << with([](Release &r) { r.url = "ftp://dl.example/h.deb"; }) << false;
        QTest::newRow("no version at all") << with([](Release &r) { r.version.clear(); }) << false;
        QTest::newRow("bad notes link costs only the link")
            << with([](Release &r) { r.notesLink = "javascript:alert(1)"; }) << true;

        QByteArray noEnclosure = release("2.0").item();
        noEnclosure.replace(noEnclosure.indexOf("<enclosure"), noEnclosure.indexOf("</item>") - noEnclosure.indexOf("<enclosure"), "");
        QTest::newRow("no enclosure") << noEnclosure << false;

        QByteArray onEnclosure = release("").item();
        onEnclosure.replace("<enclosure", "<enclosure sparkle:version=\"2.0\"");
        QTest::newRow("version on the enclosure") << onEnclosure << true;

        // One item, a download per system: the Linux one is chosen.
        Release mac = release("2.0");
        mac.os = "macos";
        mac.url = "https://dl.quillmarsh.example/QuillmarshHub-2.0.dmg";
        QByteArray both = mac.item();
        both.replace("</item>", "<enclosure url=\"https://dl.quillmarsh.example/linux.deb\" length=\"9\" sparkle:os=\"linux\" sparkle:edSignature=\""
                                    + AnySignature.toLatin1() + "\"/></item>");
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
        QCOMPARE(appcast->items().first().comparableVersion(), "1.0");
        if (usable && QTest::currentDataTag() == QByteArray("linux enclosure after another"))
            QCOMPARE(appcast->items().last().url, QUrl("https://dl.quillmarsh.example/linux.deb"));
        if (usable && QTest::currentDataTag() == QByteArray("bad notes link costs only the link"))
            QVERIFY(appcast->items().last().releaseNotesLink.isEmpty());
    }

    // A document that is not a well-formed RSS feed yields no feed at all.
    void unusableDocuments_data()
    {
        QTest::addColumn<QByteArray>("xml");
        const QByteArray good = document({release("1.1").item()});
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("cut short") << good.left(good.size() / 2);
        QTest::newRow("unclosed element") << QByteArray("<rss><channel><item></channel></rss>");
        QTest::newRow("html page") << QByteArray("<html><body>Service unavailable</body></html>");
        QTest::newRow("json") << QByteArray("{\"version\": \"1.1\"}");
        QTest::newRow("garbage after the feed") << good + "<rss/>";
        QTest::newRow("undeclared prefix") << QByteArray("<rss><channel><item><x:version>1</x:version></item></channel></rss>");
        QTest::newRow("dtd with entities")
            << QByteArray("<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY a \"aaaa\">]><rss><channel/></rss>");
        QByteArray oversized = good;
        oversized.insert(oversized.indexOf("<rss"), "<!--" + QByteArray(Appcast::MaximumSize, 'x') + "-->");
        QTest::newRow("over 1 MiB") << oversized;
    }
    void unusableDocuments()
    {
        QFETCH(QByteArray, xml);
        QString error;
        QVERIFY(!Appcast::parse(xml, &error));
        QVERIFY(!error.isEmpty());
    }

    void documentOfExactlyTheCapIsRead()
    {
        QByteArray xml = document({release("1.1").item()});
        const QByteArray padding = "<!--" + QByteArray(Appcast::MaximumSize - xml.size() - 7, 'x') + "-->";
        xml.insert(xml.indexOf("<rss"), padding);
        QCOMPARE(xml.size(), Appcast::MaximumSize);
        const auto appcast = Appcast::parse(xml);
        QVERIFY(appcast);
        QCOMPARE(versionsOf(*appcast), QStringList{"1.1"});
    }

    void emptyChannelIsAFeedWithoutReleases()
    {
        const auto appcast = Appcast::parse(document({}));
        QVERIFY(appcast);
        QVERIFY(!appcast->newest());
        QVERIFY(!appcast->newestNewerThan("0.0.0"));
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
        QTest::newRow("same as running") << QList<QStringList>{{"1.0"}, {"0.9"}} << "1.0.0" << "1.0" << "";
        QTest::newRow("older than running") << QList<QStringList>{{"0.9"}} << "1.0.0" << "0.9" << "";
        QTest::newRow("short version decides")
            << QList<QStringList>{{"900", "1.0.1"}, {"120", "1.2"}} << "1.1" << "1.2" << "1.2";
        QTest::newRow("build number alone is not compared with a short one")
            << QList<QStringList>{{"900", "1.0.1"}} << "1.0.0" << "1.0.1" << "1.0.1";
        QTest::newRow("version when no short version") << QList<QStringList>{{"2.0"}} << "1.5" << "2.0" << "2.0";
        QTest::newRow("first of equals") << QList<QStringList>{{"A", "2.0"}, {"B", "2.0.0"}} << "1.0" << "2.0" << "2.0";
        QTest::newRow("running version unreadable")
            << QList<QStringList>{{"0.0.1"}} << "0.0.0" << "0.0.1" << "0.0.1";
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

    void otherSystemsNeverOffered()
    {
        Release windows = release("3.0");
        windows.os = "windows";
        const auto appcast = Appcast::parse(document({release("1.1").item(), windows.item()}));
        QVERIFY(appcast);
        QCOMPARE(appcast->newestNewerThan("1.0")->comparableVersion(), "1.1");
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
        QTest::newRow("style dropped") << "<style>p{color:red}</style><p>a</p>" << "<p>a</p>";
        QTest::newRow("head of a full page dropped")
            << "<!DOCTYPE html><html><head><title>T</title></head><body><h1>Hi</h1></body></html>" << "<h1>Hi</h1>";
        QTest::newRow("image dropped") << "<p>a<img src=\"https://x.example/t.png\">b</p>" << "<p>ab</p>";
        QTest::newRow("event attributes dropped") << "<p onclick=\"steal()\" style=\"x\">a</p>" << "<p>a</p>";
        QTest::newRow("unknown tags dropped, text kept") << "<div><span>a</span><table><tr><td>b</td></tr></table></div>" << "ab";
        QTest::newRow("https link kept")
            << "<a href=\"https://quillmarsh.example/notes?a=1&amp;b=2\" target=\"_blank\" onclick=\"x()\">notes</a>"
            << "<a href=\"https://quillmarsh.example/notes?a=1&amp;b=2\">notes</a>";
        QTest::newRow("unquoted http link kept") << "<a href=http://quillmarsh.example/n>n</a>" << "<a href=\"http://quillmarsh.example/n\">n</a>";
        QTest::newRow("javascript link dropped, text kept") << "<a href=\"javascript:alert(1)\">x</a>" << "x";
        QTest::newRow("encoded javascript link dropped") << "<a href=\"jav&#x61;script:alert(1)\">x</a>" << "x";
        QTest::newRow("data link dropped") << "<a href=\"data:text/html,hi\">x</a>" << "x";
        QTest::newRow("file link dropped") << "<a href=\"file:///etc/passwd\">x</a>" << "x";
        QTest::newRow("quote in a link refuses the link")
            << "<a href='https://q.example/\"onmouseover=\"x'>x</a>" << "x";
        QTest::newRow("unclosed link closed") << "<p><a href=\"https://q.example\">x</p>" << "<p><a href=\"https://q.example\">x</p></a>";
        QTest::newRow("comments dropped") << "a<!-- <script>x</script> -->b" << "ab";
        QTest::newRow("stray angle brackets escaped") << "1 < 2 > 0" << "1 &lt; 2 &gt; 0";
        QTest::newRow("entities kept") << "caf&eacute; &amp; more" << "caf&eacute; &amp; more";
        QTest::newRow("unterminated script swallows the rest") << "a<script>b" << "a";
        QTest::newRow("plain text unchanged") << "Bug fixes." << "Bug fixes.";
    }
    void releaseNotesAreSanitised()
    {
        QFETCH(QString, html);
        QTEST(releasenotes::sanitize(html), "expected");
    }
};

HUB_TEST_MAIN(AppcastTest)
#include "tst_appcast.moc"
