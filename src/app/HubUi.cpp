#include "HubUi.h"

#include "app/HubSession.h"

#include <QCoroSignal>
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickWindow>
#include <QQuickStyle>

namespace hubui {

namespace {

const QUrl MainWindowUrl(QStringLiteral("qrc:/Quillmarsh/Hub/app/Main.qml"));

// A click on the hub's notification brings the window to the front, on
// the Updates tab.
void showUpdatesOnRequest(QQuickWindow &window, HubSession &session)
{
    QObject::connect(&session.updateNotifier, &UpdateNotifier::updatesRequested, &window, [&window, &session] {
        session.state.setSelectedTab(AppTab::Updates);
        if (window.visibility() == QWindow::Minimized)
            window.showNormal();
        else
            window.show();
        window.raise();
        window.requestActivate();
    });
}

QQuickWindow *contentUp(QObject *root, HubSession &session)
{
    auto *window = qobject_cast<QQuickWindow *>(root);
    if (window) {
        session.contentAppeared();
        showUpdatesOnRequest(*window, session);
    }
    return window;
}

} // namespace

void prepareEngine(QQmlEngine &engine)
{
    // Qt 6.4 does not look in the resource root for modules by itself.
    engine.addImportPath(QStringLiteral("qrc:/"));
}

std::unique_ptr<QQmlComponent> startLoadingMainWindow(QQmlEngine &engine)
{
    auto component = std::make_unique<QQmlComponent>(&engine);
    component->loadUrl(MainWindowUrl, QQmlComponent::Asynchronous);
    return component;
}

QCoro::Task<QQuickWindow *> openMainWindow(QQmlComponent &component, HubSession &session)
{
    while (component.isLoading())
        co_await qCoro(&component, &QQmlComponent::statusChanged);
    std::unique_ptr<QObject> root(component.isReady() ? component.create() : nullptr);
    if (!root) {
        qWarning().noquote() << component.errorString();
        co_return nullptr;
    }
    co_return contentUp(root.release(), session);
}

QQuickWindow *openMainWindow(QQmlApplicationEngine &engine, HubSession &session)
{
    engine.load(MainWindowUrl);
    return engine.rootObjects().isEmpty() ? nullptr : contentUp(engine.rootObjects().constLast(), session);
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

QList<FontFace> firstFrameFaces()
{
    return {
        {13, QFont::Normal}, {13, QFont::Medium}, {13, QFont::DemiBold}, {12, QFont::Normal},
        {12, QFont::DemiBold}, {11, QFont::Medium}, {11, QFont::DemiBold}, {10, QFont::Medium},
        {9, QFont::DemiBold}, {9, QFont::Bold}, {16, QFont::DemiBold}, {18, QFont::Bold},
        {11, QFont::Normal, true}, {9, QFont::Medium, true},
    };
}

void prepareFonts()
{
    for (const FontFace face : firstFrameFaces()) {
        QFont font = QGuiApplication::font();
        if (face.monospace)
            font.setFamily(QStringLiteral("monospace"));
        font.setPixelSize(face.pixelSize);
        font.setWeight(face.weight);
        QFontMetricsF(font).height();
    }
}

} // namespace hubui
