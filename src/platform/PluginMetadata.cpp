#include "PluginMetadata.h"

#include "RegularFile.h"
#include "RelaxedJson.h"

namespace platform {

std::optional<QString> Json5ModuleInfoReader::version(const QByteArray &bundlePath) const
{
    const auto bytes = readRegularFile((bundlePath + "/Contents/Resources/moduleinfo.json").constData(), MaximumFileSize);
    if (!bytes)
        return std::nullopt;
    return versionInBytes(*bytes);
}

std::optional<QString> Json5ModuleInfoReader::versionInBytes(QByteArrayView moduleInfo)
{
    if (moduleInfo.size() > MaximumFileSize)
        return std::nullopt;
    return relaxedjson::topLevelString(moduleInfo, QLatin1StringView("Version"));
}

} // namespace platform
