#include "app/AppState.h"
#include "cli/CommandLine.h"
#include "l10n/L10n.h"
#include "platform/Host.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QTextStream>

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

int runWindow(int argc, char *argv[], const cli::Invocation &invocation)
{
    QGuiApplication app(argc, argv);
    describeApplication();
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Quillmarsh Hub"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    QString error;
    const auto service = ServiceAddress::resolve(invocation.serviceUrl, &error);
    if (!service) {
        QTextStream(stderr) << "quillmarsh-hub: " << error << Qt::endl;
        return 2;
    }

    AppState state(platform::Host::system(), *service);
    QQmlApplicationEngine engine;
    qmlRegisterSingletonInstance("Quillmarsh.Hub", 1, 0, "AppState", &state);
    qmlRegisterSingletonInstance("Quillmarsh.Hub", 1, 0, "L10n", &L10n::shared());
    QObject::connect(&engine, &QQmlApplicationEngine::objectCreationFailed, &app,
                     [] { QCoreApplication::exit(1); }, Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Quillmarsh/Hub/app/Main.qml")));
    state.setup();
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
