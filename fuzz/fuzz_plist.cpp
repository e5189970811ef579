// Bundles' information files, XML or binary ("bplist00"), read for the
// installed version by the hub's own readers. libplist is the reference:
// whatever they read, libplist must read the same from the same bytes, after
// the checks that guarded it when the hub used it (XML well-formed to
// QXmlStreamReader, as UTF-8, nesting at most 128 elements), so the readers
// never take what it refused nor read a value it would not.
#include "platform/BinaryPropertyList.h"
#include "platform/PropertyListReader.h"

#include <QString>
#include <QXmlStreamReader>

#include <plist/plist.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

// Well-formed, read as UTF-8 whatever it declares, and at most 128 deep.
bool xmlWithinLimits(const QByteArray &bytes)
{
    QXmlStreamReader reader(QString::fromUtf8(bytes));
    int depth = 0;
    while (!reader.atEnd()) {
        const auto token = reader.readNext();
        if (token == QXmlStreamReader::StartElement && ++depth > 128)
            return false;
        if (token == QXmlStreamReader::EndElement)
            --depth;
    }
    return !reader.hasError();
}

// libplist's value under the key, or no value; an input it cannot take
// whole aborts.
std::optional<QString> reference(const QByteArray &bytes, const char *key)
{
    if (!platform::binaryplist::isBinary(bytes) && !xmlWithinLimits(bytes))
        std::abort(); // the reader took a list the shape check refused
    plist_t root = nullptr;
    plist_from_memory(bytes.constData(), uint32_t(bytes.size()), &root);
    if (!root)
        std::abort(); // the reader took a list libplist refused
    std::optional<QString> value;
    uint64_t length = 0;
    if (plist_get_node_type(root) == PLIST_DICT) {
        if (const char *text = plist_get_string_ptr(plist_dict_get_item(root, key), &length))
            value = QString::fromUtf8(text, qsizetype(length));
    }
    plist_free(root);
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const char *key : {"CFBundleShortVersionString", "k"}) {
        const auto value = platform::PropertyListFileReader::stringInBytes(bytes, QLatin1StringView(key));
        if (value && reference(bytes, key) != value)
            std::abort();
    }
    return 0;
}
