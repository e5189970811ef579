#include "PropertyListWriter.h"

#include "Files.h"

#include <plist/plist.h>

namespace plistwriter {

QByteArray serialize(const QVariantMap &dictionary, Format format)
{
    plist_t root = plist_new_dict();
    for (auto it = dictionary.cbegin(); it != dictionary.cend(); ++it) {
        const QVariant &value = it.value();
        plist_dict_set_item(root, it.key().toUtf8().constData(),
                            value.typeId() == QMetaType::Int ? plist_new_uint(value.toUInt())
                                                             : plist_new_string(value.toString().toUtf8().constData()));
    }
    char *bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::Xml)
        plist_to_xml(root, &bytes, &length);
    else
        plist_to_bin(root, &bytes, &length);
    QByteArray result(bytes, qsizetype(length));
    free(bytes);
    plist_free(root);
    return result;
}

bool writeBundle(const QString &bundlePath, const QVariantMap &info, Format format)
{
    return testfiles::write(bundlePath + QStringLiteral("/Contents/Info.plist"), serialize(info, format));
}

} // namespace plistwriter
