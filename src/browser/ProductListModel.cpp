#include "ProductListModel.h"

#include "app/AppState.h"
#include "updates/NotesExcerpt.h"
#include "updates/VersionLabels.h"

#include <QTextBoundaryFinder>
#include <QTimer>

ProductListModel::ProductListModel(AppState &state, QObject *parent)
    : QAbstractListModel(parent)
    , m_state(state)
{
    rebuild();
    connect(state.catalog(), &ProductCatalogManager::sectionsChanged, this, &ProductListModel::rebuild);
    // A refresh writes every entry twice in one go; the cards only need the
    // final values, so the writes are gathered into one update.
    connect(&state, &AppState::productStatesChanged, this, &ProductListModel::scheduleStateRefresh);
    connect(state.updateManager(), &UpdateManager::statesChanged, this, &ProductListModel::scheduleStateRefresh);
    connect(state.updateManager(), &UpdateManager::downloadingIdsChanged, this, &ProductListModel::scheduleStateRefresh);
}

void ProductListModel::rebuild()
{
    beginResetModel();
    m_rows.clear();
    m_sectionTitles.clear();
    const QList<ProductSection> &sections = m_state.catalog()->sections();
    for (qsizetype s = 0; s < sections.size(); ++s) {
        m_sectionTitles.insert(sections[s].id, sections[s].title);
        const qsizetype size = sections[s].products.size();
        for (qsizetype i = 0; i < size; ++i)
            m_rows.append({s, i, i + 1 == size});
    }
    endResetModel();
    emit countChanged();
}

void ProductListModel::scheduleStateRefresh()
{
    if (m_refreshPending || m_rows.isEmpty())
        return;
    m_refreshPending = true;
    QTimer::singleShot(0, this, [this] {
        m_refreshPending = false;
        if (!m_rows.isEmpty())
            emit dataChanged(index(0), index(int(m_rows.size()) - 1),
                             {InstallStateRole, UpdateAvailableRole, DownloadURLRole, DownloadingRole, VersionLineRole, ReleaseNotesRole});
    });
}

int ProductListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant ProductListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const Row &row = m_rows[index.row()];
    const ProductSection &section = m_state.catalog()->sections()[row.section];
    const Product &product = section.products[row.index];
    const UpdateManager &updates = *m_state.updateManager();
    const auto updateState = updates.states().constFind(product.id);
    const bool hasUpdateState = updateState != updates.states().cend();

    switch (role) {
    case ProductIdRole:
        return product.id;
    case DisplayNameRole:
        return product.displayName;
    case InitialsRole:
        return initials(product.displayName);
    case BadgeLabelRole:
        return product.badgeLabel;
    case SectionKeyRole:
        return section.id;
    case SectionTitleRole:
        return section.title;
    case IsLastInSectionRole:
        return row.isLast;
    case HasCouponRole:
        return product.hasCoupon();
    case CouponCodeRole:
        return product.couponCodeText();
    case CouponLabelRole:
        return product.couponLabelText();
    case HasCouponLabelRole:
        return product.hasCouponLabel();
    case CouponURLRole:
        return links::usableUrl(product.couponURLString).value_or(product.productPageURL());
    case ProductPageURLRole:
        return product.productPageURL();
    case SupportURLRole:
        return product.supportURL();
    case InstallStateRole:
        return int(m_state.productStates().value(product.id, HubInstallState::NotInstalled));
    case UpdateAvailableRole:
        return hasUpdateState && updateState->status.isUpdateAvailable();
    case DownloadURLRole:
        return hasUpdateState ? updateState->status.downloadURL : QString();
    case DownloadingRole:
        return updates.downloadingIds().contains(product.id);
    case VersionLineRole:
        return hasUpdateState ? versionDisplay(updateState->installedVersions) : QString();
    case ReleaseNotesRole:
        return hasUpdateState ? notes::excerpt(updateState->releaseNotes.value_or(QString())) : QString();
    }
    return {};
}

QHash<int, QByteArray> ProductListModel::roleNames() const
{
    return {
        {ProductIdRole, "productId"},
        {DisplayNameRole, "displayName"},
        {InitialsRole, "initials"},
        {BadgeLabelRole, "badgeLabel"},
        {SectionKeyRole, "sectionKey"},
        {SectionTitleRole, "sectionTitle"},
        {IsLastInSectionRole, "isLastInSection"},
        {HasCouponRole, "hasCoupon"},
        {CouponCodeRole, "couponCode"},
        {CouponLabelRole, "couponLabel"},
        {HasCouponLabelRole, "hasCouponLabel"},
        {CouponURLRole, "couponURL"},
        {ProductPageURLRole, "productPageURL"},
        {SupportURLRole, "supportURL"},
        {InstallStateRole, "installState"},
        {UpdateAvailableRole, "updateAvailable"},
        {DownloadURLRole, "downloadURL"},
        {DownloadingRole, "downloading"},
        {VersionLineRole, "versionLine"},
        {ReleaseNotesRole, "releaseNotes"},
    };
}

QString ProductListModel::versionDisplay(const QMap<QString, QString> &versions)
{
    if (versions.isEmpty())
        return {};
    if (versions.size() == 1)
        return QStringLiteral("v") + versions.first();
    if (const auto shared = versionlabels::sharedVersion(versions)) {
        // QMap keeps its keys in plain string order already.
        QStringList names;
        for (const QString &name : versions.keys())
            names << name.toUpper();
        return QStringLiteral("v%1 (%2)").arg(*shared, names.join(QStringLiteral(" + ")));
    }
    return versionlabels::perFormat(versions);
}

QString ProductListModel::initials(const QString &name)
{
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, name);
    int end = 0;
    for (int taken = 0; taken < 2; ++taken) {
        const qsizetype next = graphemes.toNextBoundary();
        if (next < 0)
            break;
        end = int(next);
    }
    return name.left(end);
}
