#include "PropertyListWriter.h"

#include <QDir>
#include <QFile>

#include <plist/plist.h>

namespace plistwriter {
namespace {

plist_t toNode(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::Bool:
        return plist_new_bool(value.toBool());
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
        return plist_new_real(value.toDouble());
    case QMetaType::QVariantMap: {
        plist_t dict = plist_new_dict();
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(), toNode(it.value()));
        return dict;
    }
    case QMetaType::QVariantList: {
        plist_t array = plist_new_array();
        for (const QVariant &item : value.toList())
            plist_array_append_item(array, toNode(item));
        return array;
    }
    default:
        return plist_new_string(value.toString().toUtf8().constData());
    }
}

} // namespace

QByteArray serialize(const QVariantMap &dictionary, Format format)
{
    plist_t root = toNode(dictionary);
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
    if (!QDir().mkpath(bundlePath + QStringLiteral("/Contents")))
        return false;
    QFile file(bundlePath + QStringLiteral("/Contents/Info.plist"));
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(serialize(info, format)) >= 0;
}

} // namespace plistwriter
