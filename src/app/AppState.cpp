#include "AppState.h"

#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/Schedule.h"

#include <QCoroSignal>
#include <QDir>

AppState::AppState(platform::Host &host, const ServiceAddress &service, const Schedule &schedule, QObject *parent)
    : QObject(parent)
    , m_host(host)
    , m_schedule(schedule)
    , m_catalog(new ProductCatalogManager(host.paths.hubDirectory(), service.catalogURL(), host,
                                          schedule.catalogFetchInterval, this))
    , m_updateManager(new UpdateManager(service.versionsURL(), host, schedule.updateCheckInterval, this))
{
    m_updateManager->bindCatalog(m_catalog);
}

void AppState::setSelectedTab(AppTab tab)
{
    if (tab == m_selectedTab)
        return;
    m_selectedTab = tab;
    emit selectedTabChanged();
}

void AppState::setup()
{
    if (m_isSetUp)
        return;
    m_isSetUp = true;

    prepareHubDirectory();
    // Not for the catalogue already there: the steps below cover it.
    connect(m_catalog, &ProductCatalogManager::revisionChanged, this, &AppState::applyCatalogue);
    m_catalog->startBackgroundFetches();
    refreshAllStates();
    startBackgroundTasks();
    m_updateManager->startBackgroundChecks(m_catalog);
}

void AppState::prepareHubDirectory()
{
    // A failure here only means the catalogue cannot be cached.
    const QString hubDirectory = m_host.paths.hubDirectory();
    if (!hubDirectory.isEmpty())
        QDir().mkpath(hubDirectory);
}

void AppState::refreshAllStates()
{
    InstallProbe probe(m_catalog->installPaths());
    refreshAllStates(probe);
}

void AppState::refreshAllStates(InstallProbe &probe)
{
    const QList<Product> &products = probe.paths().products();
    if (products.isEmpty())
        return;

    for (const Product &product : products)
        setProductState(product.id, HubInstallState::Loading);

    // Each id is probed once, from its first catalogue entry; its later
    // entries find the result in place of Loading. Linear in the catalogue.
    for (qsizetype i = 0; i < products.size(); ++i) {
        HubInstallState &state = m_productStates[products[i].id];
        if (state == HubInstallState::Loading)
            state = probe.isInstalled(i) ? HubInstallState::Installed : HubInstallState::NotInstalled;
        emit productStatesChanged();
    }
}

void AppState::applyCatalogue()
{
    // Both steps share one look at the install paths.
    InstallProbe probe(m_catalog->installPaths());
    refreshAllStates(probe);
    m_updateManager->rebuildStates(probe);
}

QCoro::Task<AppState::RefreshOutcome> AppState::refreshEverything()
{
    QPointer self(this);
    RefreshOutcome outcome;
    prepareHubDirectory();
    outcome.catalogue = co_await m_catalog->fetchCatalog();
    if (!self)
        co_return outcome;
    applyCatalogue();
    // The first catalogue after an early feed starts a check of its own;
    // this pass's check follows it rather than fail as a duplicate.
    if (m_updateManager->isChecking())
        co_await qCoro(m_updateManager, &UpdateManager::isCheckingChanged);
    if (!self)
        co_return outcome;
    outcome.check = co_await m_updateManager->checkForUpdates();
    if (self)
        co_await m_updateManager->finishPluginScans();
    co_return outcome;
}

void AppState::refreshCatalogAndStates()
{
    [](QPointer<AppState> self) -> QCoro::Task<> {
        co_await self->m_catalog->fetchCatalog();
        if (self)
            self->refreshAllStates();
    }(this);
}

HubInstallState AppState::computeState(const QString &productId) const
{
    const InstallPaths &paths = m_catalog->installPaths();
    const QList<Product> &products = paths.products();
    const auto product = std::find_if(products.cbegin(), products.cend(),
                                      [&](const Product &p) { return p.id == productId; });
    if (product == products.cend())
        return HubInstallState::NotInstalled;
    return InstallProbe(paths).isInstalled(product - products.cbegin()) ? HubInstallState::Installed
                                                                         : HubInstallState::NotInstalled;
}

void AppState::setProductState(const QString &productId, HubInstallState state)
{
    m_productStates.insert(productId, state);
    emit productStatesChanged();
}

void AppState::startBackgroundTasks()
{
    platform::repeatWhileAlive(QPointer(this), m_host.sleeper, m_schedule.stateRefreshInterval,
                               m_schedule.stateRefreshInterval, [](AppState &state) { state.refreshAllStates(); });
}

