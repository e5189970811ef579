#pragma once

class AppState;
class L10n;
class DesktopLinks;
class ProductListModel;
class UpdateRowsModel;
class SelfUpdater;
class QQmlEngine;
class QUrl;

// The objects the views read, each registered once as a singleton of the
// Quillmarsh.Hub module. Views never create them.
struct HubUiContext
{
    AppState &appState;
    L10n &l10n;
    DesktopLinks &links;
    ProductListModel &productList;
    UpdateRowsModel &updateRows;
    SelfUpdater &selfUpdater;
};

namespace hubui {

void registerSingletons(const HubUiContext &context);
// Lets `engine` find the module in the application's resources.
void prepareEngine(QQmlEngine &engine);
QUrl mainWindowUrl();
// Makes the fonts and the dark palette the same on every machine.
void applyLook();

} // namespace hubui
