#include "support/QmlHarness.h"
#include "support/QuickItems.h"

#include <QtTest>

using namespace quick;

namespace {

QList<QQuickWindow *> helpWindows()
{
    QList<QQuickWindow *> found;
    for (QWindow *window : QGuiApplication::topLevelWindows())
        if (window->objectName() == "helpWindow")
            found << qobject_cast<QQuickWindow *>(window);
    return found;
}

} // namespace

// The guide: one window for the whole run, opened from the Help menu.
class HelpWindowTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QmlHarness> harness;
    QQuickWindow *main = nullptr;

    // Chooses Help > "Quillmarsh Hub Guide" the way a user does.
    void chooseGuide() { QVERIFY(choose(main, "helpMenu", "guideItem")); }

    QQuickWindow *theHelpWindow()
    {
        const QList<QQuickWindow *> windows = helpWindows();
        return windows.size() == 1 ? windows.first() : nullptr;
    }

private slots:
    void initTestCase()
    {
        harness = std::make_unique<QmlHarness>(QUrl("http://127.0.0.1:1"));
        harness->l10n.setLanguage(AppLanguage::Ja);
        main = qobject_cast<QQuickWindow *>(harness->createWindow("Main"));
        QVERIFY(main);
        QVERIFY(QTest::qWaitForWindowExposed(main));
    }

    // Every check after the first starts from the window's first size.
    void init()
    {
        if (QQuickWindow *help = theHelpWindow()) {
            help->resize(540, 540);
            QTRY_COMPARE(help->contentItem()->height(), 540.0);
        }
    }

    // Made on first use, in the language of that moment; never again.
    void oneWindowForTheWholeRun()
    {
        QVERIFY(helpWindows().isEmpty());
        chooseGuide();
        QQuickWindow *help = theHelpWindow();
        QVERIFY(help && help->isVisible());
        QCOMPARE(help->title(), "Quillmarsh Hub ガイド");
        QCOMPARE(help->size(), QSize(540, 540));
        QCOMPARE(help->geometry().center(), help->screen()->geometry().center());

        // Asking again brings the same window forward.
        help->resize(500, 400);
        chooseGuide();
        QCOMPARE(theHelpWindow(), help);

        // Closing only hides it; it comes back as the user left it.
        help->close();
        QTRY_VERIFY(!help->isVisible());
        chooseGuide();
        QCOMPARE(helpWindows().size(), 1);
        QCOMPARE(theHelpWindow(), help);
        QVERIFY(help->isVisible());
        QCOMPARE(help->size(), QSize(500, 400));

        // The title keeps the language it was made in.
        harness->l10n.setLanguage(AppLanguage::En);
        QCOMPARE(help->title(), "Quillmarsh Hub ガイド");

        // Its own window, closable and resizable, with no minimise button.
        const Qt::WindowFlags wanted = Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint
                                     | Qt::WindowMaximizeButtonHint;
        QCOMPARE(help->flags() & (wanted | Qt::WindowMinimizeButtonHint), wanted);
        QVERIFY(help->maximumSize().width() > 540 && help->maximumSize().height() > 540);
        QCOMPARE(help->transientParent(), nullptr);
    }

    void contentFollowsTheLanguage_data()
    {
        QTest::addColumn<AppLanguage>("language");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("en") << AppLanguage::En
                            << QStringList{"How Quillmarsh Hub works", "Products tab", "Updates tab",
                                           "Shows installed product versions vs the latest published versions. "
                                           "New version available \u2192 click Update to download the .pkg installer.",
                                           "Need more help?", "quillmarsh.example/en/support"};
        QTest::newRow("ja") << AppLanguage::Ja
                            << QStringList{"Quillmarsh Hub の使い方", "製品一覧", "アップデート",
                                           "インストール済バージョンと最新バージョンを比較します。"
                                           "Update ボタンで最新.pkg をダウンロードします。",
                                           "さらに詳しいサポートは:", "quillmarsh.example/en/support"};
    }
    void contentFollowsTheLanguage()
    {
        QFETCH(AppLanguage, language);
        QFETCH(QStringList, texts);
        QQuickWindow *help = theHelpWindow();
        QVERIFY(help);
        harness->l10n.setLanguage(language);
        const QStringList shown = QmlHarness::visibleTexts(help->contentItem());
        for (const QString &text : texts)
            QVERIFY2(shown.contains(text), qPrintable(text));
        QCOMPARE(textOf(help, "supportEmail"), harness->links.supportEmail());
    }

    void supportLinkOpensTheSupportPage()
    {
        QQuickWindow *help = theHelpWindow();
        QQuickItem *link = child(help, "supportLink");
        QVERIFY(link);
        harness->host.urlOpener.opened.clear();
        click(link);
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{DesktopLinks::supportCenter()});
        link->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(help, Qt::Key_Space);
        QCOMPARE(harness->host.urlOpener.opened.size(), 2);
    }

    // The address can be selected with the mouse, to copy it.
    void emailIsSelectable()
    {
        QQuickWindow *help = theHelpWindow();
        QQuickItem *email = child(help, "supportEmail");
        QVERIFY(email);
        QVERIFY(email->property("readOnly").toBool());
        const QPoint start = email->mapToScene(QPointF(1, email->height() / 2)).toPoint();
        const QPoint end = email->mapToScene(QPointF(email->property("contentWidth").toReal() + 2, email->height() / 2)).toPoint();
        QTest::mousePress(help, Qt::LeftButton, {}, start);
        QTest::mouseMove(help, (start + end) / 2);
        QTest::mouseMove(help, end);
        QTest::mouseRelease(help, Qt::LeftButton, {}, end);
        QCOMPARE(email->property("selectedText").toString(), harness->links.supportEmail());
    }

    // A window smaller than the text scrolls.
    void scrollsWhenSmall()
    {
        QQuickWindow *help = theHelpWindow();
        QObject *scroller = QmlHarness::find(help, "helpScroller");
        QVERIFY(scroller);
        help->resize(300, 200);
        QTRY_COMPARE(help->contentItem()->height(), 200.0);
        QVERIFY(scroller->property("contentHeight").toReal() > scroller->property("height").toReal());
    }
};

HUB_QUICK_TEST_MAIN(HelpWindowTest)
#include "tst_helpwindow.moc"
