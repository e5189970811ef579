#include "PluginMetadata.h"

#include "Json5.h"
#include "RegularFile.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace platform {

std::optional<QString> Json5ModuleInfoReader::version(const QByteArray &bundlePath) const
{
    const auto bytes = readRegularFile((bundlePath + "/Contents/Resources/moduleinfo.json").constData(), MaximumFileSize);
    if (!bytes)
        return std::nullopt;
    return versionInBytes(*bytes);
}

std::optional<QString> Json5ModuleInfoReader::versionInBytes(const QByteArray &moduleInfo)
{
    if (moduleInfo.size() > MaximumFileSize)
        return std::nullopt;
    const auto strict = json5::toStrictJson(moduleInfo);
    if (!strict)
        return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(*strict);
    const QJsonValue version = document.object().value(QLatin1String("Version"));
    if (!document.isObject() || !version.isString())
        return std::nullopt;
    return version.toString();
}

} // namespace platform
