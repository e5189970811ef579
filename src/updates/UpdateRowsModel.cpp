#include "UpdateRowsModel.h"

#include "app/AppState.h"
#include "updates/NotesExcerpt.h"
#include "updates/VersionLabels.h"

namespace {
const QString Dash = QStringLiteral("\u2014");
}

UpdateRowsModel::UpdateRowsModel(AppState &state, QObject *parent)
    : QAbstractListModel(parent)
    , m_state(state)
{
    rebuild();
    connect(state.catalog(), &ProductCatalogManager::productsChanged, this, &UpdateRowsModel::rebuild);
    connect(state.updateManager(), &UpdateManager::statesChanged, this, &UpdateRowsModel::rebuild);
    connect(state.updateManager(), &UpdateManager::downloadingIdsChanged, this, &UpdateRowsModel::refreshDownloads);
}

void UpdateRowsModel::rebuild()
{
    QStringList rows;
    const auto &states = m_state.updateManager()->states();
    for (const Product &product : m_state.catalog()->products()) {
        if (states.contains(product.id))
            rows << product.id;
    }
    if (rows == m_rows) {
        if (!m_rows.isEmpty())
            emit dataChanged(index(0), index(int(m_rows.size()) - 1));
        return;
    }
    beginResetModel();
    m_rows = rows;
    endResetModel();
    emit countChanged();
}

void UpdateRowsModel::refreshDownloads()
{
    if (!m_rows.isEmpty())
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), {DownloadingRole});
}

int UpdateRowsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant UpdateRowsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const QString &id = m_rows[index.row()];
    const ProductUpdateState state = m_state.updateManager()->states().value(id);
    switch (role) {
    case ProductIdRole:
        return id;
    case DisplayNameRole:
        return state.product.displayName;
    case InstalledLabelRole:
        return installedVersionLabel(state.installedVersions);
    case LatestLabelRole:
        return state.latestVersion.value_or(Dash);
    case StatusRole:
        return int(state.status.kind);
    case DownloadURLRole:
        return state.status.downloadURL;
    case DownloadingRole:
        return m_state.updateManager()->downloadingIds().contains(id);
    case ReleaseNotesRole:
        return notes::excerpt(state.releaseNotes.value_or(QString()));
    }
    return {};
}

QHash<int, QByteArray> UpdateRowsModel::roleNames() const
{
    return {
        {ProductIdRole, "productId"},
        {DisplayNameRole, "displayName"},
        {InstalledLabelRole, "installedLabel"},
        {LatestLabelRole, "latestLabel"},
        {StatusRole, "status"},
        {DownloadURLRole, "downloadURL"},
        {DownloadingRole, "downloading"},
        {ReleaseNotesRole, "releaseNotes"},
    };
}

QString UpdateRowsModel::installedVersionLabel(const QMap<QString, QString> &versions)
{
    if (versions.isEmpty())
        return Dash;
    return versionlabels::sharedVersion(versions).value_or(versionlabels::perFormat(versions));
}
