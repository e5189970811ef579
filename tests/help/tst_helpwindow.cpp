#include "support/QmlHarness.h"
#include "support/QuickItems.h"

#include <QFontInfo>
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

    // Texts are drawn at their sizes in logical pixels, whatever the screen.
    void textSizes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("pixels");
        QTest::newRow("heading") << "helpHeading" << 17;
        QTest::newRow("section title") << "sectionTitle" << 14;
        QTest::newRow("section text") << "sectionBody" << 13;
        QTest::newRow("support heading") << "supportHeading" << 13;
    }
    void textSizes()
    {
        QFETCH(QString, name);
        QVERIFY(!helpWindows().isEmpty());
        QQuickItem *text = child(helpWindows().first(), name);
        QVERIFY(text);
        QTEST(QFontInfo(text->property("font").value<QFont>()).pixelSize(), "pixels");
    }

    // The scroll bar shows whenever the text is taller than the window,
    // before any scrolling, and not when it all fits.
    void scrollBarWhileTextOverflows()
    {
        QQuickWindow *help = helpWindows().first();
        QQuickItem *bar = child(help, "scrollBar");
        QVERIFY(bar);
        const QSize size = help->size();
        for (int height : {200, 540}) {
            help->resize(size.width(), height);
            const bool overflows = height < child(help, "helpScroller")->property("contentHeight").toReal();
            QTRY_COMPARE(bar->isVisible() && bar->property("contentItem").value<QQuickItem *>()->opacity() > 0, overflows);
        }
        help->resize(size);
    }
};

HUB_QUICK_TEST_MAIN(HelpWindowTest)
#include "tst_helpwindow.moc"
