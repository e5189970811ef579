#include "HubSession.h"

#include "platform/Host.h"

namespace {
HubSession *liveSession = nullptr;
}

HubSession::HubSession(platform::Host &host, const ServiceAddress &service, SelfUpdateConfig selfUpdate, L10n &l10n)
    : state(host, service)
    , l10n(l10n)
    , selfUpdater(host, std::move(selfUpdate), l10n)
    , links(host.urlOpener)
    , productList(state)
    , updateRows(state)
    , updateNotifier(*state.updateManager(), host, l10n)
{
    Q_ASSERT(!liveSession);
    liveSession = this;
}

HubSession::~HubSession()
{
    liveSession = nullptr;
}

HubSession &HubSession::current()
{
    Q_ASSERT(liveSession);
    return *liveSession;
}

void HubSession::contentAppeared()
{
    state.setup();
    state.updateManager()->triggerSparkleUpdate = [updater = QPointer(&selfUpdater)] {
        if (updater)
            updater->checkForUpdates();
    };
}
