#include "ContentRange.h"

#include <limits>

namespace platform {
namespace {

// Decimal digits only, no sign, within 64 bits.
std::optional<qint64> number(QByteArrayView text)
{
    if (text.isEmpty())
        return std::nullopt;
    qint64 value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        const int digit = c - '0';
        if (value > (std::numeric_limits<qint64>::max() - digit) / 10)
            return std::nullopt;
        value = value * 10 + digit;
    }
    return value;
}

} // namespace

std::optional<ContentRange> parseContentRange(QByteArrayView header)
{
    const QByteArrayView text = header.trimmed();
    constexpr QByteArrayView Unit("bytes ");
    if (text.size() <= Unit.size() || QByteArrayView(text.first(Unit.size())).compare(Unit, Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const QByteArrayView range = text.sliced(Unit.size()).trimmed();
    const qsizetype dash = range.indexOf('-');
    const qsizetype slash = range.indexOf('/');
    if (dash < 0 || slash < dash)
        return std::nullopt;
    const auto first = number(range.first(dash));
    const auto last = number(range.sliced(dash + 1, slash - dash - 1));
    const QByteArrayView completeText = range.sliced(slash + 1);
    const auto complete = completeText == "*" ? std::optional<qint64>(-1) : number(completeText);
    if (!first || !last || !complete || *first > *last || *last == std::numeric_limits<qint64>::max()
        || (*complete >= 0 && *last >= *complete))
        return std::nullopt;
    return ContentRange{*first, *last, *complete};
}

} // namespace platform
