#pragma once

#include "InstallProbe.h"
#include "Product.h"
#include "platform/Outcome.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QUrl>

#include <chrono>

namespace platform {
struct Host;
}

// Owns the product catalogue: shows the cached one at once, downloads a
// fresh one on request and every six hours, and keeps it both as a flat
// list and as ordered sections.
class ProductCatalogManager : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qint64 revision READ revision NOTIFY revisionChanged)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(int productCount READ productCount NOTIFY productsChanged)

public:
    static constexpr std::chrono::milliseconds DefaultFetchInterval = std::chrono::hours(6);

    // Reads the cache file in `hubDirectory` at once; never fails.
    ProductCatalogManager(const QString &hubDirectory, const QUrl &catalogURL, platform::Host &host,
                          std::chrono::milliseconds fetchInterval = DefaultFetchInterval,
                          QObject *parent = nullptr);

    const QList<Product> &products() const { return m_products; }
    const QList<ProductSection> &sections() const { return m_sections; }
    int productCount() const { return int(m_products.size()); }
    qint64 revision() const { return m_revision; }
    bool isLoading() const { return m_isLoading; }
    QUrl catalogURL() const { return m_catalogURL; }
    // The products' install paths against the current home folder, worked
    // out again only when either has changed.
    const InstallPaths &installPaths();

    // Downloads the catalogue and applies it when it is usable. Fetches may
    // overlap; the last one applied wins.
    QCoro::Task<Outcome> fetchCatalog();
    // One fetch now, then one `fetchInterval` after each previous one ended.
    void startBackgroundFetches();

signals:
    void productsChanged();
    void sectionsChanged();
    void revisionChanged();
    void isLoadingChanged();

private:
    void loadCache();
    void applyProducts(const QList<Product> &products);
    void setLoading(bool loading);

    platform::Host &m_host;
    const QUrl m_catalogURL;
    const QString m_cacheFilePath;
    const std::chrono::milliseconds m_fetchInterval;
    QList<Product> m_products;
    QList<ProductSection> m_sections;
    InstallPaths m_installPaths;
    qint64 m_revision = 0;
    bool m_isLoading = false;
};
