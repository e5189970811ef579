#include "Json5.h"

namespace platform::json5 {

std::optional<QByteArray> toStrictJson(const QByteArray &relaxed)
{
    QByteArray out;
    out.reserve(relaxed.size());
    // Where a comma was last written, while only blanks followed it: a
    // closing bracket then makes it a trailing comma, which is dropped.
    qsizetype pendingComma = -1;
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

} // namespace platform::json5
