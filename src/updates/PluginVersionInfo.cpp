#include "PluginVersionInfo.h"

#include "catalog/JsonDocument.h"

std::optional<QList<PluginVersionInfo>> PluginVersionInfo::decodeFeed(const QByteArray &json)
{
    return json::decodeArray<PluginVersionInfo>(json, [](JsonFields &fields) {
        PluginVersionInfo info;
        info.plugin_id = fields.requiredString(QLatin1StringView("plugin_id"));
        info.version = fields.requiredString(QLatin1StringView("version"));
        info.download_url = fields.requiredString(QLatin1StringView("download_url"));
        info.release_notes = fields.optionalString(QLatin1StringView("release_notes"));
        info.min_os_version = fields.optionalString(QLatin1StringView("min_os_version"));
        return info;
    });
}
