#pragma once

#include "DownloadProgress.h"
#include "PluginVersionInfo.h"
#include "UpdateStatus.h"
#include "catalog/InstallProbe.h"
#include "catalog/Product.h"
#include "platform/Download.h"
#include "platform/Outcome.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include <chrono>
#include <functional>
#include <optional>

class ProductCatalogManager;

namespace platform {
struct Host;
enum class PluginKind;
}

// Knows, for every catalogue product, what is installed, what the maker
// last published and whether an update is available; checks the feed at
// start and every day, and downloads installers into Downloads.
class UpdateManager : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isChecking READ isChecking NOTIFY isCheckingChanged)
    Q_PROPERTY(QDateTime lastChecked READ lastCheckedForView NOTIFY lastCheckedChanged)
    Q_PROPERTY(bool hasLastChecked READ hasLastChecked NOTIFY lastCheckedChanged)
    Q_PROPERTY(int productUpdateCount READ productUpdateCount NOTIFY statesChanged)
    Q_PROPERTY(int availableCount READ availableCount NOTIFY availableCountChanged)
    Q_PROPERTY(bool isUpdatingAll READ isUpdatingAll NOTIFY isUpdatingAllChanged)
    Q_PROPERTY(QString hubInstalledVersion READ hubInstalledVersion CONSTANT)
    Q_PROPERTY(QString hubLatestVersion READ hubLatestVersion NOTIFY hubSelfUpdateChanged)
    Q_PROPERTY(bool hubHasLatestVersion READ hubHasLatestVersion NOTIFY hubSelfUpdateChanged)
    Q_PROPERTY(int hubStatus READ hubStatus NOTIFY hubSelfUpdateChanged)
    Q_PROPERTY(QVariantMap downloadProgressTexts READ downloadProgressTexts NOTIFY downloadProgressChanged)

public:
    static constexpr std::chrono::milliseconds DefaultCheckInterval = std::chrono::hours(24);
    // Transfers one "update all" runs side by side.
    static constexpr int UpdateAllWidth = 2;

    UpdateManager(const QUrl &versionsURL, platform::Host &host,
                  std::chrono::milliseconds checkInterval = DefaultCheckInterval, QObject *parent = nullptr);

    const QHash<QString, ProductUpdateState> &states() const { return m_states; }
    bool isChecking() const { return m_isChecking; }
    std::optional<QDateTime> lastChecked() const { return m_lastChecked; }
    const QSet<QString> &downloadingIds() const { return m_downloadingIds; }
    const HubSelfUpdateState &hubSelfUpdate() const { return m_hubSelfUpdate; }
    bool hasLastChecked() const { return m_lastChecked.has_value(); }
    // Products whose status is updateAvailable, whether or not still listed.
    int productUpdateCount() const;
    // The same, plus one when the hub itself has an update.
    int availableCount() const { return productUpdateCount() + (m_hubSelfUpdate.status.isUpdateAvailable() ? 1 : 0); }
    QString hubInstalledVersion() const { return m_hubSelfUpdate.installedVersion; }
    QString hubLatestVersion() const { return m_hubSelfUpdate.latestVersion.value_or(QString()); }
    bool hubHasLatestVersion() const { return m_hubSelfUpdate.latestVersion.has_value(); }
    int hubStatus() const { return int(m_hubSelfUpdate.status.kind); }

    // Starts the hub's own update; set once the main window's content is up.
    std::function<void()> triggerSparkleUpdate;

    // The catalogue whose products the states follow.
    void bindCatalog(ProductCatalogManager *catalog);
    // Rebuilds at once, checks now, then every `checkInterval`.
    void startBackgroundChecks(ProductCatalogManager *catalog);
    // A check while one runs returns at once.
    QCoro::Task<Outcome> checkForUpdates();
    Q_INVOKABLE void check() { checkForUpdates(); }
    // Installed versions afresh from disk, latest versions remembered.
    Q_INVOKABLE void rebuildStates();
    // The same for the products `probe` looks at, through its look at
    // their install paths.
    void rebuildStates(InstallProbe &probe);
    // At most one download per product; returns at once.
    Q_INVOKABLE void downloadAndReveal(const QString &pluginId, const QString &downloadURL);
    // The same download, awaitable, for the command line.
    QCoro::Task<platform::DownloadResult> download(QString pluginId, QString downloadURL, bool reveal);
    // Every product with an update, in catalogue order: downloaded at most
    // UpdateAllWidth at a time, the saved files then revealed together.
    // Refused while one runs.
    Q_INVOKABLE void updateAll() { downloadAll(true); }
    // The same, awaitable, for the command line; the results are in the
    // order of the products.
    QCoro::Task<QList<platform::DownloadResult>> downloadAll(bool reveal);
    bool isUpdatingAll() const { return m_isUpdatingAll; }
    // The ids of the catalogue's products whose status is updateAvailable, in catalogue order.
    QStringList outdatedProducts() const;
    // How far a product's download has come; null while it is not downloading.
    const DownloadProgress *downloadProgress(const QString &pluginId) const;
    // The same as one line in the current language ("48 of 310 MB, 12 MB/s");
    // empty before the first bytes and while not downloading.
    Q_INVOKABLE QString downloadProgressText(const QString &pluginId) const;
    // The same for every product downloading, by id, for bindings.
    QVariantMap downloadProgressTexts() const;
    // The hub row's Update button: triggerSparkleUpdate, when set.
    Q_INVOKABLE void startHubSelfUpdate();

    static bool isNewer(const QString &candidate, const QString &reference);

    // A plug-in whose version only a scan can tell.
    struct PendingScan
    {
        platform::PluginKind kind;
        QString path;
    };
    // Format → version of each installed bundle: its Contents/Info.plist's
    // CFBundleShortVersionString as a string; failing that, a VST3 bundle's
    // moduleinfo.json, or what a scan found in an LV2 bundle or a CLAP file.
    // Plug-ins not scanned as they are now are added to `pending`.
    static QMap<QString, QString> installedVersions(const Product &product, const platform::Host &host,
                                                    QList<PendingScan> *pending = nullptr);
    // Resumes once the plug-in scans that rebuilds started have ended and
    // their versions are in the states.
    QCoro::Task<> finishPluginScans();

signals:
    void statesChanged();
    void isCheckingChanged();
    void lastCheckedChanged();
    void downloadingIdsChanged();
    // A few times a second at most while downloads run, and when one ends.
    void downloadProgressChanged();
    void hubSelfUpdateChanged();
    void availableCountChanged();
    void isUpdatingAllChanged();
    void pluginScansFinished();
    // A check the hub started by itself (at start, every day, or again once
    // the first catalogue came) has succeeded; a check the user asked for
    // never says this.
    void automaticCheckFinished();

private:
    struct FetchedVersions
    {
        Outcome outcome;
        QList<PluginVersionInfo> records;
    };
    QCoro::Task<FetchedVersions> fetchVersions();
    void applyVersions(const QList<PluginVersionInfo> &records);
    void applyHubRecord(const PluginVersionInfo &record);
    QCoro::Task<> scanPlugins(QList<PendingScan> pending);
    QCoro::Task<> checkAutomatically();
    // installedVersions of catalogue entry `entry` of what `probe` looks
    // at, put into `versions`.
    static void readInstalledVersions(InstallProbe &probe, qsizetype entry, const platform::Host &host,
                                      QList<PendingScan> *pending, QMap<QString, QString> &versions);
    void setChecking(bool checking);
    void setDownloading(const QString &pluginId, bool downloading);
    void noteProgress(const QString &pluginId, qint64 received, qint64 total);
    void removeStalePartials(const QList<PluginVersionInfo> &records);
    QDateTime lastCheckedForView() const { return m_lastChecked.value_or(QDateTime()); }

    platform::Host &m_host;
    const QUrl m_versionsURL;
    const std::chrono::milliseconds m_checkInterval;
    QPointer<ProductCatalogManager> m_catalog;
    QHash<QString, ProductUpdateState> m_states;
    QList<Product> m_statesCatalogue; // the products m_states was built for
    bool m_isChecking = false;
    bool m_isUpdatingAll = false;
    std::optional<QDateTime> m_lastChecked;
    QSet<QString> m_downloadingIds;
    QHash<QString, DownloadProgress> m_progress;
    QTimer m_progressThrottle;
    bool m_partialsCleaned = false;
    HubSelfUpdateState m_hubSelfUpdate = HubSelfUpdateState::current();
    bool m_scanning = false;
    // A feed applied before any catalogue found no states to update.
    bool m_checkWhenCatalogueArrives = false;
};
