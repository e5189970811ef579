#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// One record of the published-versions feed. "hub" names the hub itself.
struct PluginVersionInfo
{
    static inline const QString HubId = QStringLiteral("hub");

    QString plugin_id;
    QString version;
    QString download_url;
    std::optional<QString> release_notes;
    std::optional<QString> min_os_version;
    // The installer's SHA-256 as 64 hex digits, either case, and its size
    // in bytes; a download that does not match is refused.
    std::optional<QString> sha256;
    std::optional<qint64> size;

    // The feed: a JSON array of records, all or nothing, in document order.
    static std::optional<QList<PluginVersionInfo>> decodeFeed(const QByteArray &json);

    friend bool operator==(const PluginVersionInfo &, const PluginVersionInfo &) = default;
};
