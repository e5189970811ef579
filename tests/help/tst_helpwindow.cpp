#include "support/QmlHarness.h"

#include <QtTest>

namespace {

QQuickItem *child(QObject *root, const QString &name)
{
    return qobject_cast<QQuickItem *>(QmlHarness::find(root, name));
}

QString textOf(QObject *root, const QString &name)
{
    QObject *part = QmlHarness::find(root, name);
    return part ? part->property("text").toString() : QStringLiteral("<missing %1>").arg(name);
}

QList<QQuickWindow *> helpWindows()
{
    QList<QQuickWindow *> found;
    for (QWindow *window : QGuiApplication::topLevelWindows())
        if (window->objectName() == "helpWindow")
            found << qobject_cast<QQuickWindow *>(window);
    return found;
}

void click(QQuickItem *item)
{
    QTest::mouseClick(item->window(), Qt::LeftButton, {},
                      item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint());
}

} // namespace

// The guide: one window for the whole run, opened from the Help menu.
class HelpWindowTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QmlHarness> harness;
    QQuickWindow *main = nullptr;

    // Chooses Help > "Quillmarsh Hub Guide" the way a user does.
    void chooseGuide()
    {
        QObject *menu = QmlHarness::find(main, "helpMenu");
        QVERIFY(menu);
        QMetaObject::invokeMethod(menu, "open");
        QTRY_VERIFY(menu->property("opened").toBool());
        QQuickItem *item = nullptr;
        QMetaObject::invokeMethod(menu, "itemAt", Q_RETURN_ARG(QQuickItem *, item), Q_ARG(int, 0));
        QVERIFY(item);
        QCOMPARE(item->objectName(), "guideItem");
        click(item);
        QTRY_VERIFY(!menu->property("visible").toBool());
    }

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
        QVERIFY(help);
        QVERIFY(help->isVisible());
        QCOMPARE(help->title(), "Quillmarsh Hub ガイド");
        QCOMPARE(help->size(), QSize(540, 540));
        const QRect screen = help->screen()->geometry();
        QCOMPARE(help->geometry().center(), screen.center());

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
    }

    // Closable and resizable, with no minimise button.
    void windowFlags()
    {
        QQuickWindow *help = theHelpWindow();
        QVERIFY(help);
        const Qt::WindowFlags flags = help->flags();
        QVERIFY(flags & Qt::CustomizeWindowHint);
        QVERIFY(flags & Qt::WindowTitleHint);
        QVERIFY(flags & Qt::WindowCloseButtonHint);
        QVERIFY(flags & Qt::WindowMaximizeButtonHint);
        QVERIFY(!(flags & Qt::WindowMinimizeButtonHint));
        QVERIFY(help->maximumSize().width() > 540 && help->maximumSize().height() > 540);
        // Its own window, not a dialog riding on the main one.
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
        // The introduction and the products text exist in this language.
        const QString introduction = textOf(help, "helpIntroduction");
        const QString products = textOf(QmlHarness::find(help, "productsSection"), "sectionBody");
        for (const QString &text : {introduction, products}) {
            QVERIFY(!text.isEmpty());
            const bool hasKana = std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() >= 0x3040 && c.unicode() <= 0x30ff; });
            QCOMPARE(hasKana, language == AppLanguage::Ja);
        }
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
        const qreal content = scroller->property("contentHeight").toReal();
        QVERIFY(content > 200);
        help->resize(300, 200);
        QTRY_COMPARE(help->contentItem()->height(), 200.0);
        QVERIFY(scroller->property("contentHeight").toReal() > scroller->property("height").toReal());
    }
};

HUB_QUICK_TEST_MAIN(HelpWindowTest)
#include "tst_helpwindow.moc"
