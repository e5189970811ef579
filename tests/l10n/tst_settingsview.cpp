#include "platform/Settings.h"
#include "support/QmlHarness.h"
#include "support/QuickItems.h"

#include <QAccessible>
#include <QtTest>

using namespace quick;

namespace {

QString storedLanguage()
{
    platform::hubSettings().sync();
    return QSettings("Quillmarsh", "Quillmarsh Hub").value(L10n::SettingsKey).toString();
}

} // namespace

// The settings window: one language picker, bound to L10n.
class SettingsViewTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QmlHarness> harness;
    QQuickItem *view = nullptr;

    QQuickItem *english() { return child(view, "englishOption"); }
    QQuickItem *japanese() { return child(view, "japaneseOption"); }

    void expectShown(AppLanguage language)
    {
        const bool ja = language == AppLanguage::Ja;
        QCOMPARE(english()->property("checked").toBool(), !ja);
        QCOMPARE(japanese()->property("checked").toBool(), ja);
        QCOMPARE(child(view, "languageLabel")->property("text").toString(), ja ? "言語" : "Language");
        // The option names never change.
        QCOMPARE(english()->property("text").toString(), "English");
        QCOMPARE(japanese()->property("text").toString(), "Japanese / 日本語");
    }

private slots:
    void initTestCase()
    {
        harness = std::make_unique<QmlHarness>(QUrl("http://127.0.0.1:1"));
        view = harness->create("SettingsView", {}, {320, 120});
        QVERIFY(view);
        QVERIFY(english() && japanese());
    }

    void init() { harness->l10n.setLanguage(AppLanguage::En); }

    // A click sets and stores the language; the buttons keep following
    // L10n afterwards, whoever changes it.
    void clickingChoosesTheLanguage()
    {
        expectShown(AppLanguage::En);
        click(japanese());
        QCOMPARE(harness->l10n.language(), AppLanguage::Ja);
        QCOMPARE(storedLanguage(), "ja");
        expectShown(AppLanguage::Ja);

        click(japanese()); // the chosen option stays chosen
        QCOMPARE(harness->l10n.language(), AppLanguage::Ja);

        harness->l10n.setLanguage(AppLanguage::En);
        expectShown(AppLanguage::En);
        harness->l10n.setLanguage(AppLanguage::Ja);
        expectShown(AppLanguage::Ja);

        click(english());
        QCOMPARE(storedLanguage(), "en");
        expectShown(AppLanguage::En);
    }

    // Reached with Tab, chosen with Space or Return, announced as radio
    // buttons by their names.
    void keyboard_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("space") << int(Qt::Key_Space);
        QTest::newRow("return") << int(Qt::Key_Return);
    }
    void keyboard()
    {
        QFETCH(int, key);
        QVERIFY(japanese()->property("focusPolicy").toInt() & Qt::TabFocus);
        japanese()->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(view->window(), Qt::Key(key));
        expectShown(AppLanguage::Ja);
        for (QQuickItem *option : {english(), japanese()}) {
            QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(option);
            QVERIFY(accessible);
            QCOMPARE(accessible->role(), QAccessible::RadioButton);
            QCOMPARE(accessible->text(QAccessible::Name), option->property("text").toString());
        }
    }

    // The window is a fixed 320 by 120, and a window opened later still
    // shows the current language.
    void window()
    {
        harness->l10n.setLanguage(AppLanguage::Ja);
        auto *window = qobject_cast<QWindow *>(harness->createWindow("SettingsWindow"));
        QVERIFY(window);
        QCOMPARE(window->minimumSize(), QSize(320, 120));
        QCOMPARE(window->maximumSize(), QSize(320, 120));
        QCOMPARE(window->title(), "設定");
        QCOMPARE(QmlHarness::find(window, "japaneseOption")->property("checked").toBool(), true);
        harness->l10n.setLanguage(AppLanguage::En);
        QCOMPARE(window->title(), "Settings");
        QCOMPARE(QmlHarness::find(window, "englishOption")->property("checked").toBool(), true);
    }
};

HUB_QUICK_TEST_MAIN(SettingsViewTest)
#include "tst_settingsview.moc"
