// "Update all": every outdated product's installer, a few at a time.
#include "UpdateManager.h"

#include "InTurn.h"
#include "catalog/ProductCatalogManager.h"
#include "platform/Desktop.h"
#include "platform/Host.h"

namespace {

QCoro::Task<platform::DownloadResult> closedDownload()
{
    co_return platform::DownloadResult{Outcome::failure(QStringLiteral("the update manager was closed")), {}};
}

} // namespace

QStringList UpdateManager::outdatedProducts() const
{
    QStringList ids;
    if (!m_catalog)
        return ids;
    for (const Product &product : m_catalog->products()) {
        const auto state = m_states.constFind(product.id);
        if (state != m_states.cend() && state->status.isUpdateAvailable() && !ids.contains(product.id))
            ids << product.id;
    }
    return ids;
}

QCoro::Task<QList<platform::DownloadResult>> UpdateManager::downloadAll(bool reveal)
{
    if (m_isUpdatingAll)
        co_return {};
    QPointer self(this);
    m_isUpdatingAll = true;
    emit isUpdatingAllChanged();

    // The URLs as they are now: a check while the batch runs changes what
    // the next batch fetches, not this one.
    const QStringList ids = outdatedProducts();
    QStringList urls;
    for (const QString &id : ids)
        urls << m_states.value(id).status.downloadURL;
    std::function<QCoro::Task<platform::DownloadResult>(qsizetype)> one = [self, &ids, &urls](qsizetype index) {
        return self ? self->download(ids[index], urls[index], false) : closedDownload();
    };
    const QList<platform::DownloadResult> results = co_await updates::inTurn(ids.size(), UpdateAllWidth, one);
    if (!self)
        co_return results;

    QStringList saved;
    for (const platform::DownloadResult &result : results) {
        if (result.outcome.ok())
            saved << result.savedPath;
    }
    if (reveal && !saved.isEmpty())
        m_host.revealer.reveal(saved);
    m_isUpdatingAll = false;
    emit isUpdatingAllChanged();
    co_return results;
}
