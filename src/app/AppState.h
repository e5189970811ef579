#pragma once

#include "catalog/ProductCatalogManager.h"
#include "platform/ServiceAddress.h"
#include "updates/UpdateManager.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QObject>

#include <chrono>

namespace platform {
struct Host;
}

// A product's display state in the product list.
namespace HubInstallStateNs {
Q_NAMESPACE
enum class HubInstallState { Installed, NotInstalled, Loading };
Q_ENUM_NS(HubInstallState)
} // namespace HubInstallStateNs
using HubInstallStateNs::HubInstallState;

// The main window's sidebar tabs.
namespace AppTabNs {
Q_NAMESPACE
enum class AppTab { Products, Updates };
Q_ENUM_NS(AppTab)
} // namespace AppTabNs
using AppTabNs::AppTab;

// How often the background work runs; tests shorten it to milliseconds.
struct Schedule
{
    std::chrono::milliseconds catalogFetchInterval = ProductCatalogManager::DefaultFetchInterval;
    std::chrono::milliseconds stateRefreshInterval = std::chrono::hours(1);
    std::chrono::milliseconds updateCheckInterval = UpdateManager::DefaultCheckInterval;
};

// The one central object of the running hub: owns both managers, prepares
// the hub directory and keeps each product's install state.
class AppState : public QObject
{
    Q_OBJECT
    Q_PROPERTY(AppTabNs::AppTab selectedTab READ selectedTab WRITE setSelectedTab NOTIFY selectedTabChanged)
    Q_PROPERTY(ProductCatalogManager *catalog READ catalog CONSTANT)
    Q_PROPERTY(UpdateManager *updateManager READ updateManager CONSTANT)

public:
    // Creates the managers (the catalogue reads its cache); starts nothing.
    AppState(platform::Host &host, const ServiceAddress &service, const Schedule &schedule = {},
             QObject *parent = nullptr);

    const QHash<QString, HubInstallState> &productStates() const { return m_productStates; }
    AppTab selectedTab() const { return m_selectedTab; }
    void setSelectedTab(AppTab tab);
    ProductCatalogManager *catalog() const { return m_catalog; }
    UpdateManager *updateManager() const { return m_updateManager; }

    // Creates the hub directory, follows the catalogue and starts every
    // schedule. Runs once: a second call changes nothing.
    void setup();
    // Creates the hub directory; failures are ignored.
    void prepareHubDirectory();
    Q_INVOKABLE void refreshAllStates();
    // What each applied catalogue brings: the installs probed afresh, then
    // the update states rebuilt from that same look at the install paths.
    void applyCatalogue();

    struct RefreshOutcome
    {
        Outcome catalogue;
        Outcome check;
    };
    // One pass of everything, in order: download the catalogue, probe the
    // installs, rebuild the update states, check the feed. Resumes once the
    // plug-in scans it started have ended. For the command line and tests.
    QCoro::Task<RefreshOutcome> refreshEverything();
    // The product list's refresh: download the catalogue, then recompute
    // the install states, whatever the download's outcome.
    Q_INVOKABLE void refreshCatalogAndStates();
    HubInstallState computeState(const QString &productId) const;
    Q_INVOKABLE HubInstallStateNs::HubInstallState installState(const QString &productId) const
    {
        return m_productStates.value(productId, HubInstallState::NotInstalled);
    }

signals:
    void selectedTabChanged();
    // Every entry write notifies, as views read entries one by one.
    void productStatesChanged();

private:
    void refreshAllStates(InstallProbe &probe);
    void setProductState(const QString &productId, HubInstallState state);
    void startBackgroundTasks();

    platform::Host &m_host;
    const Schedule m_schedule;
    QHash<QString, HubInstallState> m_productStates;
    AppTab m_selectedTab = AppTab::Products;
    ProductCatalogManager *m_catalog;
    UpdateManager *m_updateManager;
    bool m_isSetUp = false;
};
