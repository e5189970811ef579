#include "PluginVersionInfo.h"

#include "catalog/JsonDocument.h"

#include <algorithm>

namespace {

bool isSha256Hex(const QString &text)
{
    const auto isHexDigit = [](QChar c) {
        const char16_t u = c.unicode();
        return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f') || (u >= u'A' && u <= u'F');
    };
    return text.size() == 64 && std::all_of(text.cbegin(), text.cend(), isHexDigit);
}

} // namespace

std::optional<QList<PluginVersionInfo>> PluginVersionInfo::decodeFeed(const QByteArray &json)
{
    return json::decodeArray<PluginVersionInfo>(json, [](JsonFields &fields) {
        PluginVersionInfo info;
        info.plugin_id = fields.requiredString(QLatin1StringView("plugin_id"));
        info.version = fields.requiredString(QLatin1StringView("version"));
        info.download_url = fields.requiredString(QLatin1StringView("download_url"));
        info.release_notes = fields.optionalString(QLatin1StringView("release_notes"));
        info.min_os_version = fields.optionalString(QLatin1StringView("min_os_version"));
        info.sha256 = fields.optionalString(QLatin1StringView("sha256"));
        if (info.sha256 && !isSha256Hex(*info.sha256))
            fields.reject();
        info.size = fields.optionalCount(QLatin1StringView("size"));
        return info;
    });
}
