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

// `extra` inside the item, before its enclosure (or instead of it).
static QByteArray itemWith(const QString &version, const QByteArray &extra, bool enclosure = true)
{
    QByteArray item = release(version).item();
    const qsizetype at = item.indexOf("<enclosure");
    return item.left(at) + extra + (enclosure ? item.mid(at) : QByteArray("</item>"));
}

Q_DECLARE_METATYPE(OfferRules)

class AppcastTest : public QObject
{
    Q_OBJECT

private slots:
    // Notes follow xml:lang, falling back to those without a language.
    void readsEveryPieceOfAnItem()
    {
        Release full = release("412", "1.4.0");
        full.description = "<p>New <b>things</b></p>";
        full.notesLink = "https://www.quillmarsh.example/hub/notes/1.4.html";
        full.os = "linux";
        full.critical = true;
        QByteArray item = full.item();
        item.insert(item.indexOf("<enclosure"), "<description xml:lang=\"ja\">日本語</description><sparkle:releaseNotesLink "
                                                 "xml:lang=\"ja\">https://www.quillmarsh.example/ja</sparkle:releaseNotesLink>");
        const auto appcast = Appcast::parse(document({item}));
        QVERIFY(appcast && appcast->items().size() == 1);
        const AppcastItem &parsed = appcast->items().first();
        QCOMPARE(parsed.comparableVersion(), "1.4.0");
        QCOMPARE(parsed.url, QUrl(full.url));
        QCOMPARE(parsed.length, 1234);
        QVERIFY(parsed.isCriticalFor("1.0"));
        QCOMPARE(parsed.descriptionFor("en"), "<p>New <b>things</b></p>");
        QCOMPARE(parsed.descriptionFor("ja"), "日本語");
        QCOMPARE(parsed.releaseNotesLinkFor("en"), QUrl(full.notesLink));
        QCOMPARE(parsed.releaseNotesLinkFor("ja"), QUrl("https://www.quillmarsh.example/ja"));
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

    // The newest usable release newer than the running 1.0.0, among those
    // that channels, informational releases, phased rollouts and minimum
    // versions for automatic updates allow, each as the appcast convention
    // defines them; the items were published at the clock's now. Unusable
    // items are never offered.
    void offer_data()
    {
        QTest::addColumn<QList<QByteArray>>("items");
        QTest::addColumn<OfferRules>("rules");
        QTest::addColumn<QString>("offered"); // empty: none
        QTest::addColumn<bool>("informational");
        const QDateTime published = QDateTime::fromString("Mon, 23 Nov 2026 14:05:00 +0000", Qt::RFC2822Date);
        const OfferRules automatic{{}, true, published, 0};
        auto broken = [](auto change) {
            Release r = release("2.0");
            change(r);
            return QList<QByteArray>{release("1.1").item(), r.item()};
        };
        QTest::newRow("newest wherever it is")
            << QList<QByteArray>{release("1.1").item(), release("1.3").item(), release("1.2").item()} << automatic << "1.3" << false;
        QTest::newRow("numeric, not textual") << QList<QByteArray>{release("1.9").item(), release("1.10").item()} << automatic << "1.10" << false;
        QTest::newRow("nothing newer") << QList<QByteArray>{release("1.0").item(), release("0.9").item()} << automatic << "" << false;
        QTest::newRow("other system") << broken([](Release &r) { r.os = "windows"; }) << automatic << "1.1" << false;
        QTest::newRow("no signature") << broken([](Release &r) { r.signature.clear(); }) << automatic << "1.1" << false;
        QTest::newRow("no version") << broken([](Release &r) { r.version.clear(); }) << automatic << "1.1" << false;
        QTest::newRow("no enclosure") << QList<QByteArray>{release("1.1").item(), itemWith("2.0", "", false)} << automatic << "1.1" << false;
        OfferRules user = automatic;
        user.automatic = false;
        OfferRules beta = automatic;
        beta.channels = {"beta"};
        OfferRules lateGroup = automatic;
        lateGroup.rolloutGroup = 6;
        lateGroup.now = published.addDays(1);
        OfferRules lateGroupAsking = lateGroup;
        lateGroupAsking.automatic = false;
        const QList<QByteArray> onBeta{release("1.1").item(), itemWith("9.0", "<sparkle:channel>beta</sparkle:channel>")};
        QTest::newRow("beta item, nobody chose beta") << onBeta << automatic << "1.1" << false;
        QTest::newRow("beta item, beta chosen") << onBeta << beta << "9.0" << false;
        const QByteArray page = "<link>https://www.quillmarsh.example/hub/2.0</link><sparkle:informationalUpdate/>";
        QTest::newRow("informational") << QList<QByteArray>{itemWith("2.0", page, false)} << automatic << "2.0" << true;
        const QByteArray below = "<sparkle:informationalUpdate><sparkle:belowVersion>0.5</sparkle:belowVersion></sparkle:informationalUpdate>";
        QTest::newRow("informational below an older version") << QList<QByteArray>{itemWith("2.0", below)} << automatic << "2.0" << false;
        const QList<QByteArray> phased{itemWith("2.0", "<sparkle:phasedRolloutInterval>86400</sparkle:phasedRolloutInterval>")};
        QTest::newRow("phased, first group") << phased << automatic << "2.0" << false;
        QTest::newRow("phased, last group on day one") << phased << lateGroup << "" << false;
        QTest::newRow("phased, last group asking") << phased << lateGroupAsking << "2.0" << false;
        const QList<QByteArray> minimum{itemWith("2.0", "<sparkle:minimumAutoupdateVersion>1.5</sparkle:minimumAutoupdateVersion>")};
        QTest::newRow("below the minimum, automatic") << minimum << automatic << "" << false;
        QTest::newRow("below the minimum, asking") << minimum << user << "2.0" << false;
    }
    void offer()
    {
        QFETCH(QList<QByteArray>, items);
        QFETCH(OfferRules, rules);
        QFETCH(QString, offered);
        const auto appcast = Appcast::parse(document(items));
        QVERIFY(appcast);
        const auto offer = appcast->offerFor("1.0.0", rules);
        QCOMPARE(offer.value_or(AppcastItem()).comparableVersion(), offered);
        QTEST(offer.value_or(AppcastItem()).isInformationalFor("1.0.0"), "informational");
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
