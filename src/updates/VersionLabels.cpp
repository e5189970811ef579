#include "VersionLabels.h"

#include <QStringList>

namespace versionlabels {

std::optional<QString> sharedVersion(const QMap<QString, QString> &versions)
{
    if (versions.isEmpty())
        return std::nullopt;
    const QString &first = versions.first();
    for (const QString &version : versions)
        if (version != first)
            return std::nullopt;
    return first;
}

QString perFormat(const QMap<QString, QString> &versions)
{
    QStringList parts;
    for (auto it = versions.cbegin(); it != versions.cend(); ++it)
        parts << it.key().toUpper() + u' ' + it.value();
    return parts.join(QStringLiteral(" / "));
}

} // namespace versionlabels
