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
        QTest::newRow("en") << QVariant("en") << AppLanguage::En;
        QTest::newRow("fr") << QVariant("fr") << AppLanguage::En;
        QTest::newRow("JA") << QVariant("JA") << AppLanguage::En;
        QTest::newRow("ja with space") << QVariant(" ja") << AppLanguage::En;
        QTest::newRow("empty") << QVariant("") << AppLanguage::En;
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

    void choiceSurvivesRestart()
    {
        {
            L10n first;
            first.setLanguage(AppLanguage::Ja);
        }
        platform::hubSettings().sync();
        QSettings onDisk("Quillmarsh", "Quillmarsh Hub");
        QCOMPARE(onDisk.value(L10n::SettingsKey).toString(), "ja");
        QVERIFY(onDisk.fileName().startsWith(TestSandbox::current().home()));
        QCOMPARE(L10n().language(), AppLanguage::Ja);
    }

    void settingNotifiesOnlyOnChange()
    {
        L10n l10n;
        QSignalSpy changed(&l10n, &L10n::languageChanged);

        l10n.setLanguage(AppLanguage::En); // already current
        QCOMPARE(changed.count(), 0);
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), "en");

        l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(changed.count(), 1);
        l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), "ja");

        l10n.setLanguage(AppLanguage::En);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(platform::hubSettings().value(L10n::SettingsKey).toString(), "en");
    }

    void stringPicksTheCurrentLanguage()
    {
        L10n l10n;
        const StringKey key{"Products", "製品"};
        QCOMPARE(l10n.string(key), "Products");
        QCOMPARE(l10n.text("Updates", "アップデート"), "Updates");
        l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(l10n.string(key), "製品");
        QCOMPARE(l10n.text("Updates", "アップデート"), "アップデート");
    }

    void builtTexts_data()
    {
        QTest::addColumn<StringKey>("key");
        QTest::addColumn<QString>("en");
        QTest::addColumn<QString>("ja");
        QTest::newRow("last checked") << L10n::lastChecked("14:05") << "Last checked: 14:05 today" << "最終確認: 今日 14:05";
        QTest::newRow("0 updates") << L10n::updatesAvailable(0) << "0 updates available" << "0件のアップデートがあります";
        QTest::newRow("1 update") << L10n::updatesAvailable(1) << "1 update available" << "1件のアップデートがあります";
        QTest::newRow("2 updates") << L10n::updatesAvailable(2) << "2 updates available" << "2件のアップデートがあります";
        QTest::newRow("-1 updates") << L10n::updatesAvailable(-1) << "-1 updates available" << "-1件のアップデートがあります";
        QTest::newRow("no grouping") << L10n::updatesAvailable(12345) << "12345 updates available" << "12345件のアップデートがあります";
    }
    void builtTexts()
    {
        QFETCH(StringKey, key);
        QTEST(key.en, "en");
        QTEST(key.ja, "ja");
    }

    void sharedIsOneInstance()
    {
        QCOMPARE(&L10n::shared(), &L10n::shared());
    }

    void storedTextsRoundTrip()
    {
        for (AppLanguage language : appLanguage::allCases())
            QCOMPARE(appLanguage::fromStoredText(appLanguage::storedText(language)), language);
        QVERIFY(!appLanguage::fromStoredText("JA"));
        QCOMPARE(appLanguage::allCases(), (QList<AppLanguage>{AppLanguage::En, AppLanguage::Ja}));
    }
};

HUB_TEST_MAIN(L10nTest)
#include "tst_l10n.moc"
