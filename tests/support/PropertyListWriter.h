#pragma once

#include "Files.h"

#include <QVariantMap>

#include <plist/plist.h>

// Writes flat property lists through libplist, for tests and the demo's
// installed bundles.
namespace plistwriter {

enum class Format { Xml, Binary };

// Integers are written as numbers, everything else as strings.
inline QByteArray serialize(const QVariantMap &dictionary, Format format)
{
    plist_t root = plist_new_dict();
    for (auto it = dictionary.cbegin(); it != dictionary.cend(); ++it)
        plist_dict_set_item(root, it.key().toUtf8().constData(),
                            it->typeId() == QMetaType::Int ? plist_new_uint(it->toUInt()) : plist_new_string(it->toString().toUtf8().constData()));
    char *bytes = nullptr;
    uint32_t length = 0;
    (format == Format::Xml ? plist_to_xml : plist_to_bin)(root, &bytes, &length);
    QByteArray result(bytes, qsizetype(length));
    free(bytes);
    plist_free(root);
    return result;
}

// Creates <bundle>/Contents/Info.plist with the given dictionary.
inline bool writeBundle(const QString &bundlePath, const QVariantMap &info, Format format)
{
    return testfiles::write(bundlePath + QStringLiteral("/Contents/Info.plist"), serialize(info, format));
}

} // namespace plistwriter
