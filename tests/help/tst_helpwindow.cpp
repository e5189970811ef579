#include "support/QmlHarness.h"
#include "support/QuickItems.h"

#include <QtTest>

using namespace quick;

// The guide: one window for the whole run, opened from the Help menu.
class HelpWindowTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QmlHarness> harness;
    QQuickWindow *main = nullptr;

    static QList<QQuickWindow *> helpWindows()
    {
        QList<QQuickWindow *> found;
        for (QWindow *window : QGuiApplication::topLevelWindows())
            if (window->objectName() == "helpWindow")
                found << qobject_cast<QQuickWindow *>(window);
        return found;
    }

private slots:
    void initTestCase()
    {
        harness = std::make_unique<QmlHarness>(QUrl("http://127.0.0.1:1"));
        harness->l10n.setLanguage(AppLanguage::Ja);
        main = harness->openMainWindow();
        QVERIFY(main && QTest::qWaitForWindowExposed(main));
    }

    // Made on first use, in the language of that moment; closing only hides
    // it, and asking again shows the same window, its title unchanged.
    void oneWindowForTheWholeRun()
    {
        QVERIFY(helpWindows().isEmpty());
        QVERIFY(choose(main, "helpMenu", "guideItem"));
        QCOMPARE(helpWindows().size(), 1);
        QQuickWindow *help = helpWindows().first();
        QVERIFY(help->isVisible());
        QCOMPARE(help->title(), "Quillmarsh Hub ガイド");
        help->close();
        QTRY_VERIFY(!help->isVisible());
        harness->l10n.setLanguage(AppLanguage::En);
        QVERIFY(choose(main, "helpMenu", "guideItem"));
        QCOMPARE(helpWindows(), QList<QQuickWindow *>{help});
        QVERIFY(help->isVisible());
        QCOMPARE(help->title(), "Quillmarsh Hub ガイド");
    }

    void contentFollowsTheLanguage_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("en") << AppLanguage::En << QStringList{"How Quillmarsh Hub works", "Need more help?"};
        QTest::newRow("ja") << AppLanguage::Ja << QStringList{"Quillmarsh Hub の使い方", "さらに詳しいサポートは:"};
    }
    void contentFollowsTheLanguage()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QStringList, texts);
        QVERIFY(!helpWindows().isEmpty());
        harness->l10n.setLanguage(language);
        const QStringList shown = QmlHarness::visibleTexts(helpWindows().first()->contentItem());
        for (const QString &text : texts)
            QVERIFY2(shown.contains(text), qPrintable(text));
    }
};

HUB_QUICK_TEST_MAIN(HelpWindowTest)
#include "tst_helpwindow.moc"
