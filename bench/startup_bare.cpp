// The baseline for the start-up measurement: a bare Qt Quick window of the
// hub's size, with nothing in it but its background, built the same way.
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.load(QUrl(QStringLiteral("qrc:/BareWindow/BareWindow.qml")));
    return app.exec();
}
