#include "PropertyListReader.h"

#include <QFile>

#include <plist/plist.h>

#include <memory>

namespace platform {
namespace {

// Bundles' information files are small; anything larger is not one.
constexpr qint64 MaximumFileSize = 16 * 1024 * 1024;

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

QString takeString(char *text)
{
    QString result = QString::fromUtf8(text);
    free(text);
    return result;
}

QVariant toVariant(plist_t node);

QVariantMap dictionaryToMap(plist_t dict)
{
    QVariantMap map;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(dict, &iter);
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(dict, iter, &key, &value);
        if (!key)
            break;
        map.insert(takeString(key), toVariant(value));
    }
    free(iter);
    return map;
}

QVariant toVariant(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        char *text = nullptr;
        plist_get_string_val(node, &text);
        return takeString(text);
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return bool(value);
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return QVariant::fromValue<qulonglong>(value);
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_DATA: {
        char *bytes = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        QByteArray data(bytes, qsizetype(length));
        free(bytes);
        return data;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        for (uint32_t i = 0; i < count; ++i)
            list.append(toVariant(plist_array_get_item(node, i)));
        return list;
    }
    case PLIST_DICT:
        return dictionaryToMap(node);
    default:
        // Dates, UIDs and keys carry nothing the hub reads.
        return {};
    }
}

} // namespace

std::optional<QVariantMap> LibPlistReader::readDictionary(const QString &path) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > MaximumFileSize)
        return std::nullopt;
    return parseDictionary(file.readAll());
}

std::optional<QVariantMap> LibPlistReader::parseDictionary(const QByteArray &bytes)
{
    if (bytes.isEmpty() || bytes.size() > MaximumFileSize)
        return std::nullopt;
    plist_t raw = nullptr;
    plist_from_memory(bytes.constData(), uint32_t(bytes.size()), &raw);
    const PlistPtr root(raw);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return std::nullopt;
    return dictionaryToMap(root.get());
}

} // namespace platform
