// The reference for the start-up and memory measurements: a Qt Quick window
// that shows one line of text, built, styled and given its font the way the
// hub's window is.
#include "app/HubUi.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_DISABLE_SHADER_DISK_CACHE"))
        qputenv("QT_DISABLE_SHADER_DISK_CACHE", "1");
    QGuiApplication app(argc, argv);
    hubui::applyLook();
    QQmlApplicationEngine engine;
    hubui::prepareEngine(engine);
    engine.load(QUrl(QStringLiteral("qrc:/ReferenceWindow/ReferenceWindow.qml")));
    return app.exec();
}
