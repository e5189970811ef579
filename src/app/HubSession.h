#pragma once

#include "app/AppState.h"
#include "app/DesktopLinks.h"
#include "browser/ProductListModel.h"
#include "selfupdate/SelfUpdater.h"
#include "updates/UpdateNotifier.h"
#include "updates/UpdateRowsModel.h"

class L10n;

// Everything the window shows, built in order and kept for as long as the
// session lives; the QML module's singletons are these objects. One session
// at a time. The self-updater is not started: the application does that,
// tests and tools leave it idle.
class HubSession
{
public:
    HubSession(platform::Host &host, const ServiceAddress &service, SelfUpdateConfig selfUpdate, L10n &l10n);
    ~HubSession();
    HubSession(const HubSession &) = delete;
    HubSession &operator=(const HubSession &) = delete;

    // The live session; only valid while one exists.
    static HubSession &current();

    // The main window's content is up: starts the engine's schedules and
    // lets the hub row start the self-updater's check.
    void contentAppeared();

    AppState state;
    L10n &l10n;
    SelfUpdater selfUpdater;
    DesktopLinks links;
    ProductListModel productList;
    UpdateRowsModel updateRows;
    UpdateNotifier updateNotifier;
};
