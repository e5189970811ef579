#include "l10n/L10n.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Quillmarsh"));
    QCoreApplication::setApplicationName(QStringLiteral("Quillmarsh Hub"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLMARSH_HUB_VERSION));
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    QQmlApplicationEngine engine;
    qmlRegisterSingletonInstance("Quillmarsh.Hub", 1, 0, "L10n", &L10n::shared());
    QObject::connect(&engine, &QQmlApplicationEngine::objectCreationFailed, &app,
                     [] { QCoreApplication::exit(1); }, Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Quillmarsh/Hub/app/Main.qml")));
    return app.exec();
}
