#include "l10n/L10n.h"
#include "platform/Settings.h"
#include "support/TestSandbox.h"

#include <QtTest>

class L10nTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { platform::hubSettings().clear(); }

    void languageAtStart_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<AppLanguage>("expected");
        QTest::newRow("nothing stored") << QVariant() << AppLanguage::En;
        QTest::newRow("ja") << QVariant("ja") << AppLanguage::Ja;
        QTest::newRow("fr") << QVariant("fr") << AppLanguage::En;
        QTest::newRow("JA") << QVariant("JA") << AppLanguage::En;
    }
    void languageAtStart()
    {
        QFETCH(QVariant, stored);
        if (stored.isValid())
            platform::hubSettings().setValue(L10n::SettingsKey, stored);
        L10n l10n;
        QTEST(l10n.language(), "expected");
        // Creation never writes the choice back.
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey), stored);
    }

    // Setting writes the choice, even an unchanged one; observers hear only changes.
    void settingWritesAndNotifiesOnChange()
    {
        L10n l10n;
        QSignalSpy changed(&l10n, &L10n::languageChanged);
        l10n.setLanguage(AppLanguage::En); // already current
        QCOMPARE(changed.count(), 0);
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), "en");
        l10n.setLanguage(AppLanguage::Ja);
        l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), "ja");
        QCOMPARE(l10n.string(StringKey{"Updates", "アップデート"}), "アップデート");
        QCOMPARE(L10n().language(), AppLanguage::Ja);
    }

    void builtTexts_data()
    {
        QTest::addColumn<StringKey>("key");
        QTest::addColumn<QString>("en");
        QTest::addColumn<QString>("ja");
        QTest::newRow("last checked") << L10n::lastChecked("14:05") << "Last checked: 14:05 today" << "最終確認: 今日 14:05";
        QTest::newRow("1 update") << L10n::updatesAvailable(1) << "1 update available" << "1件のアップデートがあります";
        QTest::newRow("2 updates") << L10n::updatesAvailable(2) << "2 updates available" << "2件のアップデートがあります";
    }
    void builtTexts()
    {
        QFETCH(StringKey, key);
        QTEST(key.en, "en");
        QTEST(key.ja, "ja");
    }
};

HUB_TEST_MAIN(L10nTest)
#include "tst_l10n.moc"
