#include "VersionComparison.h"

#include <limits>

namespace versions {
namespace {

std::optional<qint64> parseComponent(QStringView piece)
{
    bool negative = false;
    if (piece.startsWith(u'+') || piece.startsWith(u'-')) {
        negative = piece.front() == u'-';
        piece = piece.mid(1);
    }
    if (piece.isEmpty())
        return std::nullopt;

    // Accumulate as a negative number so that the lowest value still fits.
    constexpr qint64 Min = std::numeric_limits<qint64>::min();
    qint64 value = 0;
    for (QChar c : piece) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
        const int digit = c.unicode() - u'0';
        if (value < (Min + digit) / 10)
            return std::nullopt;
        value = value * 10 - digit;
    }
    if (negative)
        return value;
    if (value == Min)
        return std::nullopt;
    return -value;
}

} // namespace

QList<qint64> components(QStringView text)
{
    QList<qint64> result;
    for (QStringView piece : text.tokenize(u'.', Qt::SkipEmptyParts)) {
        if (const auto value = parseComponent(piece))
            result.append(*value);
    }
    return result;
}

bool isNewer(QStringView candidate, QStringView reference)
{
    const QList<qint64> x = components(candidate);
    const QList<qint64> y = components(reference);
    const qsizetype length = std::max(x.size(), y.size());
    for (qsizetype i = 0; i < length; ++i) {
        const qint64 a = x.value(i, 0);
        const qint64 b = y.value(i, 0);
        if (a != b)
            return a > b;
    }
    return false;
}

} // namespace versions
