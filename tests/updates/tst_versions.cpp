#include "support/Json.h"
#include "support/TestSandbox.h"
#include "updates/PluginVersionInfo.h"
#include "updates/UpdateManager.h"

#include <QtTest>

class VersionsTest : public QObject
{
    Q_OBJECT

private slots:
    void isNewer_data()
    {
        QTest::addColumn<QString>("candidate");
        QTest::addColumn<QString>("reference");
        QTest::addColumn<bool>("newer");

        QTest::newRow("numeric, not textual") << "1.10" << "1.9" << true;
        QTest::newRow("trailing zero equal") << "1.2.0" << "1.2" << false;
        QTest::newRow("extra component") << "1.2.1" << "1.2" << true;
        QTest::newRow("suffix drops piece") << "2.0-beta" << "1.9" << true;
        QTest::newRow("suffix shifts rest") << "1.2-beta" << "1.1" << false;
        QTest::newRow("2.0b1 is (2)") << "2.0b1" << "2" << false;
        QTest::newRow("V3.1 is (1)") << "V3.1" << "1" << false;
        QTest::newRow("empty vs zeros") << "" << "0.0.0" << false;
        QTest::newRow("negative component") << "1.-1" << "1" << false;
        QTest::newRow("explicit plus") << "+2" << "1" << true;
        QTest::newRow("lone sign dropped") << "1.-.5" << "1.4" << true;
        QTest::newRow("double sign dropped") << "1.+-5" << "1" << false;
        QTest::newRow("dots everywhere") << "..1..2.." << "1.2" << false;
        QTest::newRow("spaces drop piece") << "1. 2" << "1" << false;
        QTest::newRow("non-ASCII digits dropped") << "1.٣" << "1" << false;
        QTest::newRow("int64 max fits") << "9223372036854775807" << "9223372036854775806" << true;
        QTest::newRow("overflow dropped") << "1.9223372036854775808" << "1" << false;
        QTest::newRow("int64 min fits") << "-9223372036854775808" << "-9223372036854775807" << false;
        QTest::newRow("below int64 min dropped") << "-9223372036854775809.2" << "1" << true;
        QTest::newRow("leading zeros") << "1.010" << "1.9" << true;
        QTest::newRow("long numbers") << "1.00000000000000000000000000002" << "1.1" << true;
        QTest::newRow("zero padding beats nothing") << "1.0.0.0.1" << "1" << true;
    }
    void isNewer()
    {
        QFETCH(QString, candidate);
        QFETCH(QString, reference);
        QFETCH(bool, newer);
        QCOMPARE(UpdateManager::isNewer(candidate, reference), newer);
        // Never both ways, never newer than itself.
        QVERIFY(!(newer && UpdateManager::isNewer(reference, candidate)));
        QVERIFY(!UpdateManager::isNewer(candidate, candidate));
    }

    // The feed in document order; null counts as absent, unknown keys are ignored.
    void decodesFeed()
    {
        const auto feed = PluginVersionInfo::decodeFeed(json("[{'plugin_id':'a','version':'1.0','download_url':'u','extra':[1]},"
                                                             "{'plugin_id':'hub','version':'2.0','download_url':'h','release_notes':'Fixes','min_os_version':null}]"));
        QCOMPARE(feed, (QList<PluginVersionInfo>{{"a", "1.0", "u"}, {PluginVersionInfo::HubId, "2.0", "h", "Fixes"}}));
    }

    // One bad record rejects the whole feed.
    void rejectsWholeFeed_data()
    {
        QTest::addColumn<QByteArray>("document");
        const QByteArray good = json("{'plugin_id':'a','version':'1','download_url':'u'}");
        QTest::newRow("missing download_url") << "[" + good + json(",{'plugin_id':'b','version':'1'}]");
        QTest::newRow("numeric version") << "[" + good + json(",{'plugin_id':'b','version':1.2,'download_url':'u'}]");
        QTest::newRow("numeric release_notes") << "[" + good + json(",{'plugin_id':'b','version':'1','download_url':'u','release_notes':3}]");
        QTest::newRow("top-level object") << good;
    }
    void rejectsWholeFeed()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!PluginVersionInfo::decodeFeed(document));
    }
};

HUB_TEST_MAIN(VersionsTest)
#include "tst_versions.moc"
