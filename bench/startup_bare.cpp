// The baseline for the start-up measurement: a bare Qt Quick window of the
// hub's size, with nothing in it but its background.
#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QQmlApplicationEngine engine;
    engine.loadData("import QtQuick\n"
                    "Window { width: 900; height: 600; visible: true; color: \"#040408\" }");
    return app.exec();
}
