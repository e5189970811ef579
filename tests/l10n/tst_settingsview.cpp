#include "platform/Settings.h"
#include "support/QmlHarness.h"
#include "support/QuickItems.h"
#include <QFontInfo>
#include <QtTest>

using namespace quick;

// The settings window: one language picker, bound to L10n.
class SettingsViewTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QmlHarness> harness;
    QQuickItem *view = nullptr;

    static QString storedLanguage()
    {
        platform::hubSettings().sync();
        return QSettings("Quillmarsh", "Quillmarsh Hub").value(L10n::SettingsKey).toString();
    }
    bool showsJapanese() { return child(view, "japaneseOption")->property("checked").toBool(); }

private slots:
    void initTestCase()
    {
        harness = std::make_unique<QmlHarness>(QUrl("http://127.0.0.1:1"));
        view = harness->create("SettingsView", {}, {320, 120});
        QVERIFY(view && child(view, "englishOption") && child(view, "japaneseOption"));
    }

    // A click sets and stores the language; the buttons follow L10n.
    void clickingChoosesTheLanguage()
    {
        harness->l10n.setLanguage(AppLanguage::En);
        click(child(view, "japaneseOption"));
        QCOMPARE(harness->l10n.language(), AppLanguage::Ja);
        QCOMPARE(storedLanguage(), "ja");
        harness->l10n.setLanguage(AppLanguage::En);
        QVERIFY(!showsJapanese() && child(view, "englishOption")->property("checked").toBool());
        click(child(view, "englishOption"));
        QCOMPARE(storedLanguage(), "en");
    }

    void keyboard()
    {
        harness->l10n.setLanguage(AppLanguage::En);
        child(view, "japaneseOption")->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(view->window(), Qt::Key_Space);
        QCOMPARE(harness->l10n.language(), AppLanguage::Ja);
        QVERIFY(showsJapanese());
    }

    // Texts are drawn at their sizes in logical pixels, whatever the screen.
    void textSizes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("pixels");
        QTest::newRow("label") << "languageLabel" << 13;
        QTest::newRow("option") << "japaneseOption" << 13;
    }
    void textSizes()
    {
        QFETCH(QString, name);
        QTEST(QFontInfo(child(view, name)->property("font").value<QFont>()).pixelSize(), "pixels");
    }
};

HUB_QUICK_TEST_MAIN(SettingsViewTest)
#include "tst_settingsview.moc"
