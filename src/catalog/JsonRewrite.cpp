#include "JsonRewrite.h"

#include <charconv>
#include <cstdint>

namespace json {
namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool inNumber(char c)
{
    return isDigit(c) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

// An optional minus and digits only, outside both int64 and uint64.
bool beyond64Bits(QByteArrayView token)
{
    const char *first = token.data();
    const char *last = first + token.size();
    std::from_chars_result result;
    if (token.startsWith('-')) {
        std::int64_t value;
        result = std::from_chars(first, last, value);
    } else {
        std::uint64_t value;
        result = std::from_chars(first, last, value);
    }
    return result.ec == std::errc::result_out_of_range && result.ptr == last;
}

// The UTF-16 unit of the escape `\uXXXX` at `at`, or -1.
int escapedUnit(QByteArrayView text, qsizetype at)
{
    if (at + 6 > text.size() || text[at] != '\\' || text[at + 1] != 'u')
        return -1;
    int unit = 0;
    for (const char c : text.sliced(at + 2, 4)) {
        const int digit = isDigit(c) ? c - '0' : (c | 0x20) >= 'a' && (c | 0x20) <= 'f' ? (c | 0x20) - 'a' + 10 : -1;
        if (digit < 0)
            return -1;
        unit = unit * 16 + digit;
    }
    return unit;
}

bool isHighSurrogate(int unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(int unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

} // namespace

std::optional<QByteArray> rewriteRefusedForms(QByteArrayView document)
{
    QByteArray out;
    qsizetype copied = 0;
    bool changed = false;
    auto replace = [&](qsizetype from, qsizetype to, QByteArrayView with) {
        out.append(document.sliced(copied, from - copied)).append(with);
        copied = to;
        changed = true;
    };

    bool inString = false;
    qsizetype i = 0;
    while (i < document.size()) {
        const char c = document[i];
        if (inString && c == '\\') {
            const int unit = escapedUnit(document, i);
            if (isHighSurrogate(unit) && isLowSurrogate(escapedUnit(document, i + 6))) {
                i += 12;
            } else if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
                replace(i, i + 6, "\\ufffd");
                i += 6;
            } else {
                i += 2; // the escaped character, which may be a quote
            }
        } else if (c == '"') {
            inString = !inString;
            ++i;
        } else if (!inString && (c == '-' || isDigit(c))) {
            qsizetype end = i + 1;
            while (end < document.size() && inNumber(document[end]))
                ++end;
            if (beyond64Bits(document.sliced(i, end - i)))
                replace(end, end, "e0");
            i = end;
        } else {
            ++i;
        }
    }
    if (!changed)
        return std::nullopt;
    out.append(document.sliced(copied));
    return out;
}

} // namespace json
