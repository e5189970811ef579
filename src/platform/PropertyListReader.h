#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace platform {

// Reads one string from the dictionary at the root of a property list
// (bundles' Info.plist).
class PropertyListReader
{
public:
    virtual ~PropertyListReader() = default;

    // No value when the file is missing, not a regular file, over the size
    // limit, not a property list within the shape limits, its root is not
    // a dictionary, or the value under `key` is not a string.
    virtual std::optional<QString> readString(const QString &path, const char *key) const = 0;
};

// XML and binary property lists through libplist.
class LibPlistReader final : public PropertyListReader
{
public:
    // Information files are a few kilobytes; anything larger is not one.
    static constexpr qint64 MaximumFileSize = 1024 * 1024;

    std::optional<QString> readString(const QString &path, const char *key) const override;

    static std::optional<QString> stringInBytes(const QByteArray &bytes, const char *key);
};

} // namespace platform
