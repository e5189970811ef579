#include "app/HubSession.h"
#include "app/HubUi.h"
#include "cli/CommandLine.h"
#include "l10n/L10n.h"
#include "platform/Host.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickWindow>
#include <QQmlExtensionPlugin>
#include <QTextStream>

Q_IMPORT_QML_PLUGIN(Quillmarsh_HubPlugin)

namespace {

void describeApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Quillmarsh"));
    QCoreApplication::setApplicationName(QStringLiteral("Quillmarsh Hub"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLMARSH_HUB_VERSION));
}

QStringList argumentsOf(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    return arguments;
}

// Shows the main window once its types are in; ends the run when it cannot be made.
QCoro::Task<> showWindow(QQmlComponent &component, HubSession &session, std::unique_ptr<QQuickWindow> &window)
{
    window.reset(co_await hubui::openMainWindow(component, session));
    if (!window)
        QCoreApplication::exit(1);
}

int runWindow(int argc, char *argv[], const cli::Invocation &invocation)
{
    // The hub writes nothing under ~/.cache; its flat scene has few shaders
    // to recompile on later starts.
    if (!qEnvironmentVariableIsSet("QT_DISABLE_SHADER_DISK_CACHE"))
        qputenv("QT_DISABLE_SHADER_DISK_CACHE", "1");
    QGuiApplication app(argc, argv);
    describeApplication();
    // No application display name: the desktop would append it to every
    // window title ("Quillmarsh Hub Guide — Quillmarsh Hub").
    // The desktop entry, icon and AppStream data share this id.
    QGuiApplication::setDesktopFileName(QStringLiteral("example.quillmarsh.Hub"));
    hubui::applyLook();

    QString error;
    const auto service = ServiceAddress::resolve(invocation.serviceUrl, &error);
    if (!service) {
        QTextStream(stderr) << "quillmarsh-hub: " << error << Qt::endl;
        return 2;
    }

    QQmlApplicationEngine engine;
    hubui::prepareEngine(engine);
    // The window's types load on the engine's own thread while the session
    // reads its catalogue and the fonts are set up here.
    const std::unique_ptr<QQmlComponent> mainWindow = hubui::startLoadingMainWindow(engine);

    // Created in this order and kept for the whole run.
    HubSession session(platform::Host::system(), *service, SelfUpdateConfig::fromEnvironment(), L10n::shared());
    // Checks for the hub's own releases from now on, window or not.
    session.selfUpdater.start();
    // Only once a software installer has taken the hub's new package.
    QObject::connect(&session.selfUpdater, &SelfUpdater::quitRequested, &app, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    hubui::prepareFonts();

    std::unique_ptr<QQuickWindow> window;
    showWindow(*mainWindow, session, window);
    return app.exec();
}

} // namespace

int main(int argc, char *argv[])
{
    const cli::Invocation invocation = cli::parse(argumentsOf(argc, argv));
    if (invocation.action == cli::Invocation::Action::Window)
        return runWindow(argc, argv, invocation);

    QCoreApplication app(argc, argv);
    describeApplication();
    return cli::run(invocation);
}
