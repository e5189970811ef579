#pragma once

#include <QAbstractListModel>
#include <QPointer>

class AppState;

// The catalogue's sections flattened into one list for the product view:
// each row is a product, grouped by `sectionKey` (the category, unique per
// section even when two sections share a title). Rows also carry what the
// card shows of the product's install and update state.
class ProductListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        ProductIdRole = Qt::UserRole + 1,
        DisplayNameRole,
        InitialsRole,
        BadgeLabelRole,
        SectionKeyRole,
        SectionTitleRole,
        IsLastInSectionRole,
        HasCouponRole,
        CouponCodeRole,
        CouponLabelRole,
        HasCouponLabelRole,
        CouponURLRole,
        ProductPageURLRole,
        SupportURLRole,
        InstallStateRole,
        UpdateAvailableRole,
        DownloadURLRole,
        DownloadingRole,
        VersionLineRole,
        ReleaseNotesRole,
    };

    explicit ProductListModel(AppState &state, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_rows.size()); }
    Q_INVOKABLE QString sectionTitle(const QString &sectionKey) const { return m_sectionTitles.value(sectionKey); }

    // "v1.2", "v1.2 (AU + VST3)" or "AU 1.0 / VST3 1.1".
    static QString versionDisplay(const QMap<QString, QString> &versions);
    // The first two user-perceived characters of a name.
    static QString initials(const QString &name);

signals:
    void countChanged();

private:
    struct Row
    {
        qsizetype section;
        qsizetype index;
        bool isLast;
    };

    void rebuild();
    void scheduleStateRefresh();

    AppState &m_state;
    QList<Row> m_rows;
    QHash<QString, QString> m_sectionTitles;
    bool m_refreshPending = false;
};
