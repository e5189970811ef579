#pragma once

#include <QAbstractListModel>

class AppState;

// The product rows of the updates table: catalogue products that have an
// update state, in catalogue order.
class UpdateRowsModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        ProductIdRole = Qt::UserRole + 1,
        DisplayNameRole,
        InstalledLabelRole,
        LatestLabelRole,
        StatusRole,
        DownloadURLRole,
        DownloadingRole,
        ReleaseNotesRole,
    };

    explicit UpdateRowsModel(AppState &state, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return int(m_rows.size()); }

    // "—", the one version shared by every format, or "AU 1.1.0 / VST3 1.2.0".
    static QString installedVersionLabel(const QMap<QString, QString> &versions);

signals:
    void countChanged();

private:
    void rebuild();
    void refreshDownloads();

    AppState &m_state;
    QStringList m_rows; // product ids
};
