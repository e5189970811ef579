#include "JsonFields.h"

#include "JsonMember.h"

#include <QSet>

#include <cmath>

using simdjson::dom::element;
using simdjson::dom::element_type;

namespace {

std::optional<QString> string(const element &value)
{
    std::string_view text;
    if (value.get_string().get(text))
        return std::nullopt;
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

std::optional<qint64> wholeNumber(const element &value)
{
    switch (value.type()) {
    case element_type::INT64:
        return value.get_int64().value_unsafe();
    case element_type::DOUBLE: {
        // Literals with a fraction or an exponent, and integers written
        // beyond 64 bits, arrive as the nearest double.
        const double number = value.get_double().value_unsafe();
        constexpr double Limit = 9223372036854775808.0; // 2^63
        if (!std::isfinite(number) || std::trunc(number) != number || number < -Limit || number >= Limit)
            return std::nullopt;
        return qint64(number);
    }
    default: // UINT64 holds only values of 2^63 and above.
        return std::nullopt;
    }
}

} // namespace

// The member named `key`, or nothing when it is absent or null. Of a key
// given twice the last value counts, as the hub has always read it.
const json::Member *JsonFields::present(QLatin1StringView key) const
{
    const std::string_view name(key.data(), size_t(key.size()));
    for (const json::Member *member = m_members + m_count; member != m_members;) {
        --member;
        if (member->key == name)
            return member->value.is_null() ? nullptr : member;
    }
    return nullptr;
}

QString JsonFields::requiredString(QLatin1StringView key)
{
    const json::Member *member = present(key);
    std::optional<QString> text = member ? string(member->value) : std::nullopt;
    if (!text) {
        fail();
        return {};
    }
    return *std::move(text);
}

std::optional<QString> JsonFields::optionalString(QLatin1StringView key)
{
    const json::Member *member = present(key);
    if (!member)
        return std::nullopt;
    std::optional<QString> text = string(member->value);
    if (!text)
        fail();
    return text;
}

qint64 JsonFields::optionalInteger(QLatin1StringView key, qint64 fallback)
{
    const json::Member *member = present(key);
    if (!member)
        return fallback;
    const std::optional<qint64> number = wholeNumber(member->value);
    if (!number) {
        fail();
        return fallback;
    }
    return *number;
}

std::optional<qint64> JsonFields::optionalCount(QLatin1StringView key)
{
    const json::Member *member = present(key);
    if (!member)
        return std::nullopt;
    const std::optional<qint64> number = wholeNumber(member->value);
    if (!number || *number < 0) {
        fail();
        return std::nullopt;
    }
    return number;
}

std::optional<QMap<QString, QString>> JsonFields::optionalStringMap(QLatin1StringView key)
{
    const json::Member *member = present(key);
    if (!member)
        return std::nullopt;
    simdjson::dom::object object;
    if (member->value.get_object().get(object)) {
        fail();
        return std::nullopt;
    }
    // Only the last value of a repeated key is judged, so a key whose
    // latest value is not a string is kept aside until a string replaces it.
    QMap<QString, QString> map;
    QSet<QString> notStrings;
    for (auto it = object.begin(); it != object.end(); ++it) {
        QString name = QString::fromUtf8(it.key().data(), qsizetype(it.key().size()));
        if (std::optional<QString> text = string(it.value())) {
            notStrings.remove(name);
            map.insert(std::move(name), *std::move(text));
        } else {
            map.remove(name);
            notStrings.insert(std::move(name));
        }
    }
    if (!notStrings.isEmpty()) {
        fail();
        return std::nullopt;
    }
    return map;
}
