#include "PropertyListReader.h"

#include "PropertyListShape.h"
#include "RegularFile.h"

#include <plist/plist.h>

#include <memory>

namespace platform {
namespace {

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

} // namespace

std::optional<QString> LibPlistReader::readString(const QString &path, const char *key) const
{
    const auto bytes = readRegularFile(path, MaximumFileSize);
    if (!bytes)
        return std::nullopt;
    return stringInBytes(*bytes, key);
}

std::optional<QString> LibPlistReader::stringInBytes(const QByteArray &bytes, const char *key)
{
    if (bytes.isEmpty() || bytes.size() > MaximumFileSize || !plistshape::isWithinLimits(bytes))
        return std::nullopt;
    plist_t raw = nullptr;
    plist_from_memory(bytes.constData(), uint32_t(bytes.size()), &raw);
    const PlistPtr root(raw);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;
    // Only the one value is read, through calls that take its stored
    // length: libplist's copying getters assert on strings holding U+0000.
    uint64_t length = 0;
    const char *text = plist_get_string_ptr(plist_dict_get_item(root.get(), key), &length);
    if (!text || length > uint64_t(bytes.size()) * 3)
        return std::nullopt;
    return QString::fromUtf8(text, qsizetype(length));
}

} // namespace platform
