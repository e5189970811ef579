#include "browser/ProductListModel.h"
#include "support/TestSandbox.h"
#include "updates/UpdateRowsModel.h"

#include <QtTest>

using VersionMap = QMap<QString, QString>;

// The texts the card and the updates table derive from installed versions and names.
class ViewLabelsTest : public QObject
{
    Q_OBJECT

private slots:
    void versionLines_data()
    {
        QTest::addColumn<VersionMap>("versions");
        QTest::addColumn<QString>("card");
        QTest::addColumn<QString>("table");
        QTest::newRow("none") << VersionMap{} << "" << "\u2014";
        QTest::newRow("one format") << VersionMap{{"vst3", "2.0"}} << "v2.0" << "2.0";
        QTest::newRow("two formats, one version") << VersionMap{{"vst3", "1.0"}, {"au", "1.0"}} << "v1.0 (AU + VST3)" << "1.0";
        QTest::newRow("two versions") << VersionMap{{"vst3", "1.1"}, {"au", "1.0"}} << "AU 1.0 / VST3 1.1" << "AU 1.0 / VST3 1.1";
        // Plain string order puts upper case first, before it is upper-cased.
        QTest::newRow("case order") << VersionMap{{"au", "1"}, {"VST3", "2"}} << "VST3 2 / AU 1" << "VST3 2 / AU 1";
    }
    void versionLines()
    {
        QFETCH(VersionMap, versions);
        QTEST(ProductListModel::versionDisplay(versions), "card");
        QTEST(UpdateRowsModel::installedVersionLabel(versions), "table");
    }

    // Two grapheme clusters, whatever they are made of.
    void initials()
    {
        QCOMPARE(ProductListModel::initials("Marsh Reverb"), "Ma");
        QCOMPARE(ProductListModel::initials("🥁 Drums"), "🥁 ");
        QCOMPARE(ProductListModel::initials("🇯🇵JP"), "🇯🇵J");
        QCOMPARE(ProductListModel::initials("e\u0301te"), "e\u0301t");
    }
};

HUB_TEST_MAIN(ViewLabelsTest)
#include "tst_viewlabels.moc"
