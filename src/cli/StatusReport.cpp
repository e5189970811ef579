#include "StatusReport.h"

#include "Console.h"
#include "app/AppState.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace cli {
namespace {

QString statusName(const UpdateStatus &status)
{
    switch (status.kind) {
    case UpdateStatus::UpdateAvailable:
        return QStringLiteral("updateAvailable");
    case UpdateStatus::UpToDate:
        return QStringLiteral("upToDate");
    case UpdateStatus::NotInstalled:
        break;
    }
    return QStringLiteral("notInstalled");
}

QString installStateName(HubInstallState state)
{
    switch (state) {
    case HubInstallState::Installed:
        return QStringLiteral("installed");
    case HubInstallState::Loading:
        return QStringLiteral("loading");
    case HubInstallState::NotInstalled:
        break;
    }
    return QStringLiteral("notInstalled");
}

QJsonValue optional(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

QJsonObject versionsObject(const QMap<QString, QString> &versions)
{
    QJsonObject object;
    for (auto it = versions.cbegin(); it != versions.cend(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

QString orDash(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

} // namespace

StatusReport::StatusReport(const AppState &state)
{
    const UpdateManager &updates = *state.updateManager();
    const HubSelfUpdateState &hub = updates.hubSelfUpdate();

    QJsonArray products;
    for (const Product &product : state.catalog()->products()) {
        const ProductUpdateState update = updates.states().value(product.id);
        products.append(QJsonObject{
            {"id", product.id},
            {"name", product.displayName},
            {"category", product.category},
            {"installState", installStateName(state.productStates().value(product.id, HubInstallState::NotInstalled))},
            {"installedVersions", versionsObject(update.installedVersions)},
            {"latestVersion", optional(update.latestVersion)},
            {"downloadURL", optional(update.downloadURL)},
            {"status", statusName(update.status)},
        });
    }

    m_json = QJsonObject{
        {"service", state.catalog()->catalogURL().adjusted(QUrl::RemovePath).toString()},
        {"catalogRevision", state.catalog()->revision()},
        {"lastChecked", updates.lastChecked() ? QJsonValue(updates.lastChecked()->toString(Qt::ISODate))
                                              : QJsonValue(QJsonValue::Null)},
        {"hub", QJsonObject{
                    {"installedVersion", hub.installedVersion},
                    {"latestVersion", optional(hub.latestVersion)},
                    {"status", statusName(hub.status)},
                    {"downloadURL", hub.status.isUpdateAvailable() ? QJsonValue(hub.status.downloadURL)
                                                                  : QJsonValue(QJsonValue::Null)},
                }},
        {"products", products},
    };
}

QString StatusReport::json() const
{
    return QString::fromUtf8(QJsonDocument(m_json).toJson(QJsonDocument::Indented));
}

QString StatusReport::text() const
{
    QStringList header{QStringLiteral("NAME"), QStringLiteral("ID"), QStringLiteral("INSTALL"),
                       QStringLiteral("INSTALLED"), QStringLiteral("LATEST"), QStringLiteral("STATUS")};
    QList<QStringList> rows;
    const QJsonObject hub = m_json.value("hub").toObject();
    rows << QStringList{QStringLiteral("Quillmarsh Hub"), QStringLiteral("hub"), QStringLiteral("installed"),
                        hub.value("installedVersion").toString(), orDash(hub.value("latestVersion").toString()),
                        hub.value("status").toString()};
    for (const QJsonValue &value : m_json.value("products").toArray()) {
        const QJsonObject product = value.toObject();
        QStringList installed;
        const QJsonObject versions = product.value("installedVersions").toObject();
        for (auto it = versions.begin(); it != versions.end(); ++it)
            installed << it.key() + u' ' + it.value().toString();
        rows << QStringList{product.value("name").toString(), product.value("id").toString(),
                            product.value("installState").toString(), orDash(installed.join(QStringLiteral(", "))),
                            orDash(product.value("latestVersion").toString()), product.value("status").toString()};
    }

    for (QStringList &row : rows)
        for (QString &cell : row)
            cell = oneLine(cell);
    QList<qsizetype> widths;
    for (const QString &title : header)
        widths << title.size();
    for (const QStringList &row : rows)
        for (qsizetype i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());

    QString text;
    auto appendRow = [&](const QStringList &row) {
        QStringList cells;
        for (qsizetype i = 0; i < row.size(); ++i)
            cells << (i + 1 < row.size() ? row[i].leftJustified(widths[i]) : row[i]);
        text += cells.join(QStringLiteral("  ")) + u'\n';
    };
    appendRow(header);
    for (const QStringList &row : rows)
        appendRow(row);
    const QJsonValue lastChecked = m_json.value("lastChecked");
    text += QStringLiteral("\nLast checked: ") + (lastChecked.isNull() ? QStringLiteral("never") : lastChecked.toString()) + u'\n';
    return text;
}

} // namespace cli
