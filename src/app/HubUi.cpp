#include "HubUi.h"

#include "app/HubSession.h"

#include <QFont>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QQuickStyle>

namespace hubui {

void prepareEngine(QQmlEngine &engine)
{
    // Qt 6.4 does not look in the resource root for modules by itself.
    engine.addImportPath(QStringLiteral("qrc:/"));
}

QQuickWindow *openMainWindow(QQmlApplicationEngine &engine, HubSession &session)
{
    engine.load(QUrl(QStringLiteral("qrc:/Quillmarsh/Hub/app/Main.qml")));
    auto *window = engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow *>(engine.rootObjects().constLast());
    if (window)
        session.contentAppeared();
    return window;
}

void applyLook()
{
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    // Inter has real medium and semibold weights; Japanese and emoji fall
    // back, in that order, to fonts that cover them. Sizes are logical
    // pixels, the unit of every layout metric.
    QFont font(QStringLiteral("Inter"));
    font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Noto Sans CJK JP"), QStringLiteral("Noto Color Emoji")});
    font.setPixelSize(13);
    QGuiApplication::setFont(font);
}

} // namespace hubui
