#pragma once

class HubSession;
class QQmlApplicationEngine;
class QQmlEngine;
class QQuickWindow;

namespace hubui {

// Lets `engine` find the module in the application's resources.
void prepareEngine(QQmlEngine &engine);
// Loads the main window and, its content up, starts `session`'s engine.
// Null (with the errors logged) when the window cannot be made.
QQuickWindow *openMainWindow(QQmlApplicationEngine &engine, HubSession &session);
// Makes the fonts and the dark palette the same on every machine.
void applyLook();

} // namespace hubui
