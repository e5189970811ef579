#include "ProductCatalogManager.h"

#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/RegularFile.h"
#include "platform/Transfer.h"
#include "platform/Schedule.h"

#include <QPointer>
#include <QSaveFile>

ProductCatalogManager::ProductCatalogManager(const QString &hubDirectory, const QUrl &catalogURL,
                                             platform::Host &host, std::chrono::milliseconds fetchInterval,
                                             QObject *parent)
    : QObject(parent)
    , m_host(host)
    , m_catalogURL(catalogURL)
    , m_cacheFilePath(hubDirectory + QStringLiteral("/product_catalog.json"))
    , m_fetchInterval(fetchInterval)
{
    loadCache();
}

const InstallPaths &ProductCatalogManager::installPaths()
{
    m_installPaths.update(m_products, m_host.paths.homePath());
    return m_installPaths;
}

void ProductCatalogManager::loadCache()
{
    const auto bytes = platform::readRegularFile(m_cacheFilePath, m_host.limits.cacheFileSize);
    if (!bytes)
        return;
    const auto products = Product::decodeCatalog(*bytes);
    if (products && !products->isEmpty())
        applyProducts(*products);
}

QCoro::Task<Outcome> ProductCatalogManager::fetchCatalog()
{
    QPointer self(this);
    setLoading(true);

    const platform::FetchedBody fetched
        = co_await platform::fetchBody(m_host.network, QNetworkRequest(m_catalogURL), m_host.limits.catalogue);
    if (!self)
        co_return Outcome::failure(QStringLiteral("the catalogue was closed"));

    Outcome outcome = fetched.outcome;
    if (outcome.ok()) {
        const auto products = Product::decodeCatalog(fetched.body);
        if (!products) {
            outcome = Outcome::failure(QStringLiteral("the catalogue is not a valid document"));
        } else if (products->isEmpty()) {
            // An empty catalogue never replaces the one the user has.
            outcome = Outcome::failure(QStringLiteral("the catalogue is empty"));
        } else {
            applyProducts(*products);
            QSaveFile cache(m_cacheFilePath);
            if (cache.open(QIODevice::WriteOnly) && cache.write(fetched.body) == fetched.body.size())
                cache.commit();
        }
    }
    setLoading(false);
    co_return outcome;
}

void ProductCatalogManager::startBackgroundFetches()
{
    fetchCatalog();
    platform::repeatWhileAlive(QPointer(this), m_host.sleeper, m_fetchInterval, m_fetchInterval,
                               [](ProductCatalogManager &manager) { return manager.fetchCatalog(); });
}

void ProductCatalogManager::applyProducts(const QList<Product> &products)
{
    if (products != m_products) {
        m_products = products;
        emit productsChanged();
    }
    m_sections = Product::sections(m_products);
    emit sectionsChanged();
    ++m_revision;
    emit revisionChanged();
}

void ProductCatalogManager::setLoading(bool loading)
{
    if (loading == m_isLoading)
        return;
    m_isLoading = loading;
    emit isLoadingChanged();
}
