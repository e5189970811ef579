#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

namespace platform {

// A VST3 bundle's own version: the top-level "Version" string of
// Contents/Resources/moduleinfo.json, which the SDK writes as relaxed JSON.
class ModuleInfoReader
{
public:
    virtual ~ModuleInfoReader() = default;
    // `bundlePath` is in the file system's encoding. No value when the file
    // is missing, not a regular file, over the size limit, not a JSON
    // object, or its "Version" is not a string.
    virtual std::optional<QString> version(const QByteArray &bundlePath) const = 0;
};

class Json5ModuleInfoReader final : public ModuleInfoReader
{
public:
    static constexpr qint64 MaximumFileSize = 1024 * 1024;

    std::optional<QString> version(const QByteArray &bundlePath) const override;

    static std::optional<QString> versionInBytes(QByteArrayView moduleInfo);
};

} // namespace platform
