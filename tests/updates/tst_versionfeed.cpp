#include "support/Json.h"
#include "support/TestSandbox.h"
#include "updates/PluginVersionInfo.h"

#include <QtTest>

class VersionFeedTest : public QObject
{
    Q_OBJECT

private slots:
    void decodesInDocumentOrder()
    {
        const auto feed = PluginVersionInfo::decodeFeed(json("["
            "{'plugin_id':'a','version':'1.0','download_url':'https://x.example/a1.dmg','extra':[1]},"
            "{'plugin_id':'hub','version':'2.0','download_url':'https://x.example/h.dmg',"
             "'release_notes':'Fixes','min_os_version':null},"
            "{'plugin_id':'a','version':'1.1','download_url':'https://x.example/a2.dmg','release_notes':null}]"));
        QVERIFY(feed);
        QCOMPARE(feed->size(), 3);
        QCOMPARE(feed->at(0).version + feed->at(2).version, "1.01.1");
        QCOMPARE(feed->at(1).release_notes, QString("Fixes"));
        QVERIFY(!feed->at(1).min_os_version);
        QVERIFY(!feed->at(2).release_notes);
        QCOMPARE(feed->at(1).plugin_id, PluginVersionInfo::HubId);
        QVERIFY(PluginVersionInfo::decodeFeed("[]")->isEmpty());
    }

    void rejectsWholeDocument_data()
    {
        QTest::addColumn<QByteArray>("document");
        const QByteArray good = json("{'plugin_id':'a','version':'1','download_url':'u'}");
        QTest::newRow("missing download_url") << "[" + good + json(",{'plugin_id':'b','version':'1'}]");
        QTest::newRow("numeric version") << "[" + good + json(",{'plugin_id':'b','version':1.2,'download_url':'u'}]");
        QTest::newRow("numeric release_notes") << "[" + good + json(",{'plugin_id':'b','version':'1','download_url':'u','release_notes':3}]");
        QTest::newRow("top-level object") << good;
    }
    void rejectsWholeDocument()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!PluginVersionInfo::decodeFeed(document));
    }
};

HUB_TEST_MAIN(VersionFeedTest)
#include "tst_versionfeed.moc"
