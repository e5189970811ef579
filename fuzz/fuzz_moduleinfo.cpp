// A VST3 bundle's moduleinfo.json as it lies on disk, read for the one
// string the probe wants. The reference is how the hub read it before: the
// relaxed JSON turned strict in one pass (comments to white space, trailing
// commas dropped, an unclosed comment or string refused), then
// QJsonDocument. Whatever the reader reads, the reference must read the
// same, so it never takes what QJsonDocument refused nor reads another value.
#include "platform/PluginMetadata.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace {

std::optional<QByteArray> toStrictJson(const QByteArray &relaxed)
{
    QByteArray out;
    qsizetype pendingComma = -1; // a comma only blanks have followed so far
    const qsizetype size = relaxed.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char c = relaxed[i];
        if (c == '"') {
            const qsizetype start = i++;
            while (i < size && relaxed[i] != '"')
                i += relaxed[i] == '\\' ? 2 : 1;
            if (i >= size)
                return std::nullopt;
            out.append(relaxed.constData() + start, i - start + 1);
            pendingComma = -1;
        } else if (c == '/' && i + 1 < size && relaxed[i + 1] == '/') {
            while (i < size && relaxed[i] != '\n')
                ++i;
            out += '\n';
        } else if (c == '/' && i + 1 < size && relaxed[i + 1] == '*') {
            const qsizetype end = relaxed.indexOf("*/", i + 2);
            if (end < 0)
                return std::nullopt;
            i = end + 1;
            out += ' ';
        } else if ((c == '}' || c == ']') && pendingComma >= 0) {
            out[pendingComma] = ' ';
            out += c;
            pendingComma = -1;
        } else {
            if (c == ',')
                pendingComma = out.size();
            else if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
                pendingComma = -1;
            out += c;
        }
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto version = platform::Json5ModuleInfoReader::versionInBytes(bytes);
    if (!version)
        return 0;
    const auto strict = toStrictJson(bytes);
    if (!strict)
        std::abort(); // the reader took a comment or string left open
    const QJsonDocument document = QJsonDocument::fromJson(*strict);
    const QJsonValue reference = document.object().value(QLatin1String("Version"));
    if (!document.isObject() || !reference.isString() || reference.toString() != *version)
        std::abort();
    return 0;
}
