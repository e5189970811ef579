#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QLatin1StringView>
#include <QString>

#include <optional>

namespace platform {

// Reads one string from the dictionary at the root of a property list
// (bundles' Info.plist).
class PropertyListReader
{
public:
    virtual ~PropertyListReader() = default;

    // `path` is in the file system's encoding and `key` is ASCII. No value
    // when the file is missing, not a regular file, over the size limit,
    // not a property list within the shape limits, its root is not a
    // dictionary, or the value under `key` is not a string.
    virtual std::optional<QString> readString(const QByteArray &path, QLatin1StringView key) const = 0;
};

// XML and binary property lists of at most plistlimits::MaximumFileSize,
// each read in one pass for the one string, without building the document.
class PropertyListFileReader final : public PropertyListReader
{
public:
    std::optional<QString> readString(const QByteArray &path, QLatin1StringView key) const override;

    static std::optional<QString> stringInBytes(QByteArrayView bytes, QLatin1StringView key);
};

} // namespace platform
