#include "HubSession.h"

#include "app/HubUi.h"
#include "platform/Host.h"

HubSession::HubSession(platform::Host &host, const ServiceAddress &service, SelfUpdateConfig selfUpdate, L10n &l10n)
    : state(host, service)
    , l10n(l10n)
    , selfUpdater(host, std::move(selfUpdate), l10n)
    , links(host.urlOpener)
    , productList(state)
    , updateRows(state)
{
    hubui::registerSingletons({state, l10n, links, productList, updateRows, selfUpdater});
}
