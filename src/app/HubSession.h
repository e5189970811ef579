#pragma once

#include "app/AppState.h"
#include "app/DesktopLinks.h"
#include "browser/ProductListModel.h"
#include "selfupdate/SelfUpdater.h"
#include "updates/UpdateRowsModel.h"

class L10n;

// Everything the window shows, built in order and registered as the
// module's singletons for as long as the session lives. The self-updater is
// not started: the application does that, tests and tools leave it idle.
class HubSession
{
public:
    HubSession(platform::Host &host, const ServiceAddress &service, SelfUpdateConfig selfUpdate, L10n &l10n);

    AppState state;
    L10n &l10n;
    SelfUpdater selfUpdater;
    DesktopLinks links;
    ProductListModel productList;
    UpdateRowsModel updateRows;
};
