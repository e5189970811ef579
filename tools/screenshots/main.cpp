// Renders the hub's windows against the demo data, offscreen, in English
// and Japanese:  quillmarsh-screenshots DIR
#include "../demo/DemoData.h"
#include "app/HubSession.h"
#include "app/HubUi.h"
#include "l10n/L10n.h"
#include "platform/Host.h"
#include "platform/PluginScanner.h"
#include "support/LocalHttpService.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QDeadlineTimer>
#include <QDir>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickWindow>
#include <QTextStream>

Q_IMPORT_QML_PLUGIN(Quillmarsh_HubPlugin)

namespace {

// Runs the event loop until `done` holds or `ms` pass.
bool waitFor(const std::function<bool()> &done, int ms = 10000)
{
    QDeadlineTimer deadline(ms);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return done();
}

void settle(int ms = 400)
{
    QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

bool save(QQuickWindow *window, const QString &path)
{
    settle();
    const QImage image = window->grabWindow();
    if (image.isNull() || !image.save(path)) {
        QTextStream(stderr) << "screenshots: could not write " << path << Qt::endl;
        return false;
    }
    QTextStream(stdout) << path << Qt::endl;
    return true;
}

// Presents the main window's secondary window `slot` (a WindowSlot).
QQuickWindow *openWindow(QObject *main, const char *slot)
{
    QObject *windowSlot = main->property(slot).value<QObject *>();
    QVariant window;
    if (windowSlot)
        QMetaObject::invokeMethod(windowSlot, "present", Q_RETURN_ARG(QVariant, window));
    return qobject_cast<QQuickWindow *>(window.value<QObject *>());
}

// The window with one of its menus open, as a click on its title opens it.
bool saveMenu(QQuickWindow *main, const char *menuName, const QString &path)
{
    QObject *bar = main->findChild<QObject *>(QStringLiteral("menuBar"));
    QObject *menu = bar ? bar->findChild<QObject *>(QLatin1String(menuName)) : nullptr;
    if (!menu || !QMetaObject::invokeMethod(bar, "openMenu", Q_ARG(QVariant, QVariant::fromValue(menu)))
        || !waitFor([menu] { return menu->property("opened").toBool(); }))
        return false;
    const bool saved = save(main, path);
    QMetaObject::invokeMethod(menu, "close");
    return saved;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        QTextStream(stderr) << "usage: quillmarsh-screenshots DIR" << Qt::endl;
        return 2;
    }
    // A throwaway home, set before Qt reads it.
    TestSandbox sandbox;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv(platform::ProcessPluginScanner::ScannerVariable, QUILLMARSH_HUB_PLUGIN_SCANNER);

    QGuiApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Quillmarsh"));
    QCoreApplication::setApplicationName(QStringLiteral("Quillmarsh Hub"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLMARSH_HUB_VERSION));
    hubui::applyLook();

    const QString outDir = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    if (!QDir().mkpath(outDir) || !demo::makeHome(sandbox.home()))
        return 1;
    LocalHttpService service;
    if (!service.listen())
        return 1;
    demo::serveCatalogue(service);

    // The self-updater is never started: no checks.
    HubSession session(platform::Host::system(), ServiceAddress(service.baseUrl()), SelfUpdateConfig::builtIn(),
                       L10n::shared());
    AppState &state = session.state;
    L10n &l10n = session.l10n;
    // The demo's updates are news to nobody: the desktop hears nothing.
    session.updateNotifier.setEnabled(false);

    QQmlApplicationEngine engine;
    hubui::prepareEngine(engine);
    QQuickWindow *main = hubui::openMainWindow(engine, session);
    if (!main)
        return 1;

    UpdateManager &updates = *state.updateManager();
    if (!waitFor([&] { return state.catalog()->revision() >= 1 && updates.hasLastChecked() && !updates.isChecking(); })) {
        QTextStream(stderr) << "screenshots: the demo service did not answer" << Qt::endl;
        return 1;
    }
    QCoro::waitFor(updates.finishPluginScans());
    session.updateNotifier.setEnabled(true);

    bool ok = true;
    for (const auto &[language, suffix] : {std::pair{AppLanguage::En, "en"}, std::pair{AppLanguage::Ja, "ja"}}) {
        l10n.setLanguage(language);
        state.setSelectedTab(AppTab::Products);
        ok &= save(main, QStringLiteral("%1/products-%2.png").arg(outDir, suffix));
        state.setSelectedTab(AppTab::Updates);
        ok &= save(main, QStringLiteral("%1/updates-%2.png").arg(outDir, suffix));
        // The smallest the window goes: 700 by 500 for the content, below
        // the menu bar and toolbar.
        const QSize first = main->size();
        main->resize(main->minimumSize());
        for (const auto &[tab, name] : {std::pair{AppTab::Products, "products"}, std::pair{AppTab::Updates, "updates"}}) {
            state.setSelectedTab(tab);
            ok &= save(main, QStringLiteral("%1/%2-smallest-%3.png").arg(outDir, name, suffix));
        }
        main->resize(first);
        if (QQuickWindow *settings = openWindow(main, "settings")) {
            ok &= save(settings, QStringLiteral("%1/settings-%2.png").arg(outDir, suffix));
            settings->close();
        } else {
            ok = false;
        }
        ok &= saveMenu(main, "applicationMenu", QStringLiteral("%1/menu-%2.png").arg(outDir, suffix));
        if (QQuickWindow *help = openWindow(main, "help")) {
            ok &= save(help, QStringLiteral("%1/help-%2.png").arg(outDir, suffix));
            help->close();
        } else {
            ok = false;
        }
    }
    state.setSelectedTab(AppTab::Products);
    return ok ? 0 : 1;
}
