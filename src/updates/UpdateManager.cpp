#include "UpdateManager.h"

#include "InstallerDownload.h"
#include "VersionComparison.h"
#include "catalog/ProductCatalogManager.h"
#include "l10n/L10n.h"
#include "platform/Clock.h"
#include "platform/Desktop.h"
#include "platform/Download.h"
#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/PartialCleanup.h"
#include "platform/Transfer.h"
#include "platform/PluginScanner.h"
#include "platform/Schedule.h"

#include <QCoroSignal>

#include <algorithm>

namespace {
// How often views hear of download progress.
constexpr std::chrono::milliseconds ProgressInterval(250);
} // namespace

UpdateManager::UpdateManager(const QUrl &versionsURL, platform::Host &host,
                             std::chrono::milliseconds checkInterval, QObject *parent)
    : QObject(parent)
    , m_host(host)
    , m_versionsURL(versionsURL)
    , m_checkInterval(checkInterval)
{
    connect(this, &UpdateManager::statesChanged, this, &UpdateManager::availableCountChanged);
    connect(this, &UpdateManager::hubSelfUpdateChanged, this, &UpdateManager::availableCountChanged);
    // Progress arrives with every chunk; views need a few updates a second.
    m_progressThrottle.setSingleShot(true);
    m_progressThrottle.setInterval(ProgressInterval);
    connect(&m_progressThrottle, &QTimer::timeout, this, &UpdateManager::downloadProgressChanged);
    // The texts are in the interface language.
    connect(&L10n::shared(), &L10n::languageChanged, this, &UpdateManager::downloadProgressChanged);
}

int UpdateManager::productUpdateCount() const
{
    return int(std::count_if(m_states.cbegin(), m_states.cend(),
                             [](const ProductUpdateState &state) { return state.status.isUpdateAvailable(); }));
}

bool UpdateManager::isNewer(const QString &candidate, const QString &reference)
{
    return versions::isNewer(candidate, reference);
}

namespace {

// What the installed versions and the latest published one make of a product.
UpdateStatus statusOf(const ProductUpdateState &state)
{
    const QMap<QString, QString> &installed = state.installedVersions;
    if (installed.isEmpty())
        return UpdateStatus::notInstalled();
    // Plain text order, not version order: "1.10" sorts before "1.9".
    const QString &lowest = *std::min_element(installed.cbegin(), installed.cend());
    if (state.latestVersion && versions::isNewer(*state.latestVersion, lowest))
        return UpdateStatus::updateAvailable(*state.latestVersion, state.downloadURL.value_or(QString()));
    return UpdateStatus::upToDate();
}

} // namespace

void UpdateManager::bindCatalog(ProductCatalogManager *catalog)
{
    m_catalog = catalog;
}

void UpdateManager::startBackgroundChecks(ProductCatalogManager *catalog)
{
    bindCatalog(catalog);
    // Installed versions are known before any network traffic.
    rebuildStates();
    checkAutomatically();
    platform::repeatWhileAlive(QPointer(this), m_host.sleeper, m_checkInterval, m_checkInterval,
                               [](UpdateManager &manager) { return manager.checkAutomatically(); });
}

QCoro::Task<> UpdateManager::checkAutomatically()
{
    QPointer self(this);
    const Outcome outcome = co_await checkForUpdates();
    if (self && outcome.ok())
        emit automaticCheckFinished();
}

QCoro::Task<Outcome> UpdateManager::checkForUpdates()
{
    if (m_isChecking)
        co_return Outcome::failure(QStringLiteral("a check is already running"));
    QPointer self(this);
    setChecking(true);

    const FetchedVersions fetched = co_await fetchVersions();
    if (!self)
        co_return Outcome::failure(QStringLiteral("the update manager was closed"));
    if (fetched.outcome.ok()) {
        applyVersions(fetched.records);
        const QDateTime now = m_host.clock.now();
        if (m_lastChecked != now) {
            m_lastChecked = now;
            emit lastCheckedChanged();
        }
    }
    setChecking(false);
    co_return fetched.outcome;
}

QCoro::Task<UpdateManager::FetchedVersions> UpdateManager::fetchVersions()
{
    if (!m_versionsURL.isValid())
        co_return {Outcome::failure(QStringLiteral("bad versions URL")), {}};
    const platform::FetchedBody fetched
        = co_await platform::fetchBody(m_host.network, QNetworkRequest(m_versionsURL), m_host.limits.feed);
    if (!fetched.outcome.ok())
        co_return {fetched.outcome, {}};
    auto records = PluginVersionInfo::decodeFeed(fetched.body);
    if (!records)
        co_return {Outcome::failure(QStringLiteral("the versions feed is not a valid document")), {}};
    co_return {Outcome::success(), std::move(*records)};
}

void UpdateManager::applyVersions(const QList<PluginVersionInfo> &records)
{
    // Before the first catalogue, product records have no state to land in:
    // the next rebuild with products checks once more.
    if (m_states.isEmpty() && (!m_catalog || m_catalog->products().isEmpty()))
        m_checkWhenCatalogueArrives = true;
    for (const PluginVersionInfo &record : records) {
        if (record.plugin_id == PluginVersionInfo::HubId) {
            applyHubRecord(record);
            continue;
        }
        const auto entry = m_states.find(record.plugin_id);
        if (entry == m_states.end())
            continue;

        ProductUpdateState &state = *entry;
        const auto &installed = state.installedVersions;
        // Any installed format older than the published version counts.
        const bool anyOlder = std::any_of(installed.cbegin(), installed.cend(), [&](const QString &version) {
            return isNewer(record.version, version);
        });
        state.latestVersion = record.version;
        state.downloadURL = record.download_url;
        state.releaseNotes = record.release_notes;
        state.expectedSha256 = record.sha256;
        state.expectedSize = record.size;
        state.status = installed.isEmpty() ? UpdateStatus::notInstalled()
            : anyOlder                     ? UpdateStatus::updateAvailable(record.version, record.download_url)
                                           : UpdateStatus::upToDate();
        emit statesChanged();
    }
    removeStalePartials(records);
}

void UpdateManager::removeStalePartials(const QList<PluginVersionInfo> &records)
{
    // Once per run, and only once the feed has said what is still offered.
    if (m_partialsCleaned || m_states.isEmpty())
        return;
    m_partialsCleaned = true;
    QList<QUrl> offered;
    for (const PluginVersionInfo &record : records)
        offered << QUrl(record.download_url, QUrl::StrictMode);
    platform::PartialCleanup::removeStale(m_host.paths.downloadsDirectory(), offered, m_host.clock.now());
}

void UpdateManager::applyHubRecord(const PluginVersionInfo &record)
{
    const QString &installed = m_hubSelfUpdate.installedVersion;
    const HubSelfUpdateState next{
        installed, record.version,
        isNewer(record.version, installed) ? UpdateStatus::updateAvailable(record.version, record.download_url)
                                           : UpdateStatus::upToDate()};
    if (next == m_hubSelfUpdate)
        return;
    m_hubSelfUpdate = next;
    emit hubSelfUpdateChanged();
}

void UpdateManager::rebuildStates()
{
    if (!m_catalog)
        return;
    InstallProbe probe(m_catalog->installPaths());
    rebuildStates(probe);
}

void UpdateManager::rebuildStates(InstallProbe &probe)
{
    if (!m_catalog)
        return;

    QList<PendingScan> pending;
    const QList<Product> &products = probe.paths().products();
    // Over the catalogue of the last rebuild the states change where they
    // are; a new catalogue gets a new table, keeping what the feed said.
    const bool sameCatalogue = products.constData() == m_statesCatalogue.constData()
        && products.size() == m_statesCatalogue.size();
    QHash<QString, ProductUpdateState> rebuilt;
    if (!sameCatalogue)
        rebuilt.reserve(products.size());
    for (qsizetype i = 0; i < products.size(); ++i) {
        const Product &product = products[i];
        auto state = sameCatalogue ? m_states.find(product.id) : rebuilt.insert(product.id, {product, {}, {}, {}, {}, {}, {}, {}});
        Q_ASSERT(!sameCatalogue || state != m_states.end());
        if (!sameCatalogue) {
            if (const auto previous = m_states.constFind(product.id); previous != m_states.cend()) {
                state->latestVersion = previous->latestVersion;
                state->downloadURL = previous->downloadURL;
                state->releaseNotes = previous->releaseNotes;
                state->expectedSha256 = previous->expectedSha256;
                state->expectedSize = previous->expectedSize;
            }
        }
        readInstalledVersions(probe, i, m_host, &pending, state->installedVersions);
        state->status = statusOf(*state);
    }
    if (!sameCatalogue) {
        m_states = std::move(rebuilt);
        m_statesCatalogue = products;
    }
    emit statesChanged();

    if (!pending.isEmpty() && !m_scanning)
        scanPlugins(std::move(pending));
    if (m_checkWhenCatalogueArrives && !m_states.isEmpty()) {
        m_checkWhenCatalogueArrives = false;
        checkAutomatically();
    }
}

QCoro::Task<> UpdateManager::scanPlugins(QList<PendingScan> pending)
{
    QPointer self(this);
    m_scanning = true;
    platform::PluginScanner &scanner = m_host.pluginScanner;
    for (const PendingScan &scan : pending) {
        co_await scanner.scan(scan.kind, scan.path);
        if (!self)
            co_return;
    }
    m_scanning = false;
    // What the scans found reaches the states; anything that changed while
    // they ran is noted again and scanned by this rebuild.
    rebuildStates();
    if (!m_scanning)
        emit pluginScansFinished();
}

QCoro::Task<> UpdateManager::finishPluginScans()
{
    if (m_scanning)
        co_await qCoro(this, &UpdateManager::pluginScansFinished);
}

void UpdateManager::downloadAndReveal(const QString &pluginId, const QString &downloadURL)
{
    download(pluginId, downloadURL, true);
}

QCoro::Task<platform::DownloadResult> UpdateManager::download(QString pluginId, QString downloadURL, bool reveal)
{
    if (m_downloadingIds.contains(pluginId))
        co_return {Outcome::failure(QStringLiteral("%1 is already downloading").arg(pluginId)), {}};
    QPointer self(this);
    setDownloading(pluginId, true);

    platform::DownloadResult result;
    const QUrl url(downloadURL, QUrl::StrictMode);
    const auto name = installers::fileName(url, pluginId);
    if (!url.isValid() || url.isRelative()) {
        result.outcome = Outcome::failure(QStringLiteral("not a download URL: %1").arg(downloadURL));
    } else if (!name) {
        result.outcome = Outcome::failure(QStringLiteral("no safe file name for %1").arg(pluginId));
    } else {
        platform::DownloadControl control;
        connect(&control, &platform::DownloadControl::progress, this,
                [this, pluginId](qint64 received, qint64 total) { noteProgress(pluginId, received, total); });
        platform::DownloadOptions options;
        options.control = &control;
        options.limits = m_host.limits.installer;
        // The feed's checks hold for the installer it names.
        if (const auto state = m_states.constFind(pluginId); state != m_states.cend() && state->downloadURL == downloadURL) {
            options.expectedSize = state->expectedSize;
            if (state->expectedSha256)
                options.expectedSha256 = QByteArray::fromHex(state->expectedSha256->toLatin1());
        }
        result = co_await platform::download(m_host.network, url, *name, m_host.paths.downloadsDirectory(),
                                             std::move(options));
        if (result.outcome.ok() && reveal)
            m_host.revealer.reveal({result.savedPath});
    }
    if (self)
        setDownloading(pluginId, false);
    co_return result;
}

void UpdateManager::noteProgress(const QString &pluginId, qint64 received, qint64 total)
{
    m_progress[pluginId].update(received, total, m_host.clock.now());
    if (!m_progressThrottle.isActive())
        m_progressThrottle.start();
}

const DownloadProgress *UpdateManager::downloadProgress(const QString &pluginId) const
{
    const auto found = m_progress.constFind(pluginId);
    return found == m_progress.cend() ? nullptr : &*found;
}

QString UpdateManager::downloadProgressText(const QString &pluginId) const
{
    const DownloadProgress *progress = downloadProgress(pluginId);
    if (!progress)
        return {};
    return L10n::shared().string(L10n::downloadProgress(progress->received(), progress->total(), progress->rate()));
}

QVariantMap UpdateManager::downloadProgressTexts() const
{
    QVariantMap texts;
    for (auto it = m_progress.cbegin(); it != m_progress.cend(); ++it)
        texts.insert(it.key(), downloadProgressText(it.key()));
    return texts;
}

void UpdateManager::startHubSelfUpdate()
{
    if (triggerSparkleUpdate)
        triggerSparkleUpdate();
}

void UpdateManager::setChecking(bool checking)
{
    if (checking == m_isChecking)
        return;
    m_isChecking = checking;
    emit isCheckingChanged();
}

void UpdateManager::setDownloading(const QString &pluginId, bool downloading)
{
    if (downloading) {
        m_downloadingIds.insert(pluginId);
    } else {
        m_downloadingIds.remove(pluginId);
        if (m_progress.remove(pluginId))
            emit downloadProgressChanged();
    }
    emit downloadingIdsChanged();
}
