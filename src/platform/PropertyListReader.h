#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

namespace platform {

// Reads property lists whose root is a dictionary (bundles' Info.plist).
class PropertyListReader
{
public:
    virtual ~PropertyListReader() = default;

    // No value when the file is missing, unreadable, not a property list,
    // or its root is not a dictionary.
    virtual std::optional<QVariantMap> readDictionary(const QString &path) const = 0;
};

// XML and binary property lists through libplist.
class LibPlistReader final : public PropertyListReader
{
public:
    std::optional<QVariantMap> readDictionary(const QString &path) const override;

    static std::optional<QVariantMap> parseDictionary(const QByteArray &bytes);
};

} // namespace platform
