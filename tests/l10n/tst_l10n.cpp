#include "browser/ProductListModel.h"
#include "l10n/L10n.h"
#include "platform/Settings.h"
#include "support/TestSandbox.h"
#include "updates/UpdateRowsModel.h"

#include <QtTest>

using VersionMap = QMap<QString, QString>;

// The texts the hub shows: the language chosen, sentences built from
// values, and the labels views derive from installed versions.
class L10nTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { platform::hubSettings().clear(); }

    // Only what the hub itself writes is understood. (With nothing stored
    // the views' tests start in English.)
    void languageAtStart_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<AppLanguage>("expected");
        QTest::newRow("ja") << "ja" << AppLanguage::Ja;
        QTest::newRow("fr") << "fr" << AppLanguage::En;
        QTest::newRow("JA") << "JA" << AppLanguage::En;
    }
    void languageAtStart()
    {
        QFETCH(QString, stored);
        platform::hubSettings().setValue(L10n::SettingsKey, stored);
        QTEST(L10n().language(), "expected");
        // Creation never writes the choice back.
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), stored);
    }

    // Setting writes the choice, even an unchanged one; observers hear only changes.
    void settingWritesAndNotifiesOnChange()
    {
        L10n l10n;
        QSignalSpy changed(&l10n, &L10n::languageChanged);
        l10n.setLanguage(AppLanguage::En); // already current
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), "en");
        l10n.setLanguage(AppLanguage::Ja);
        l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), "ja");
    }

    void builtTexts()
    {
        const StringKey checked = L10n::lastChecked("14:05"), one = L10n::updatesAvailable(1);
        QCOMPARE((QStringList{checked.en, checked.ja, one.en, one.ja}),
                 (QStringList{"Last checked: 14:05 today", "最終確認: 今日 14:05", "1 update available", "1件のアップデートがあります"}));
    }

    // The product card's version line and the updates table's installed column.
    void versionLines_data()
    {
        QTest::addColumn<VersionMap>("versions");
        QTest::addColumn<QString>("card");
        QTest::addColumn<QString>("table");
        QTest::newRow("none") << VersionMap{} << "" << "\u2014";
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
};

HUB_TEST_MAIN(L10nTest)
#include "tst_l10n.moc"
