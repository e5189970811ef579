#pragma once

#include <QCoroTask>
#include <QFont>
#include <QList>

#include <memory>

class HubSession;
class QQmlApplicationEngine;
class QQmlComponent;
class QQmlEngine;
class QQuickWindow;

namespace hubui {

// Lets `engine` find the module in the application's resources.
void prepareEngine(QQmlEngine &engine);

// Starts reading the main window's types on the engine's loader thread and
// returns at once, so that the session and the fonts are set up meanwhile.
std::unique_ptr<QQmlComponent> startLoadingMainWindow(QQmlEngine &engine);
// Once its types are in, makes the main window and, its content up, starts
// `session`'s engine. The caller owns the window. Null (with the errors
// logged) when the window cannot be made.
QCoro::Task<QQuickWindow *> openMainWindow(QQmlComponent &component, HubSession &session);
// Both steps at once, the engine owning the window: for tools and tests.
QQuickWindow *openMainWindow(QQmlApplicationEngine &engine, HubSession &session);

// Makes the fonts and the dark palette the same on every machine.
void applyLook();
// A size and weight of the application's font, or of the desktop's
// fixed-pitch font (version numbers, coupon codes).
struct FontFace
{
    int pixelSize;
    QFont::Weight weight;
    bool monospace = false;
    friend bool operator==(const FontFace &, const FontFace &) = default;
};
// Every face the products tab draws text in.
QList<FontFace> firstFrameFaces();
// Reads the installed fonts and opens the first frame's faces now, while the
// window's types load, so they are ready when it is made.
void prepareFonts();

} // namespace hubui
