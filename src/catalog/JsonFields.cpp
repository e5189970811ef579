#include "JsonFields.h"

#include <QJsonValue>
#include <QVariant>

#include <cmath>

namespace {

std::optional<qint64> wholeNumber(const QJsonValue &value)
{
    // The parser keeps integer literals that fit 64 bits exactly; everything
    // else arrives as a double.
    const QVariant variant = value.toVariant();
    if (variant.typeId() == QMetaType::LongLong)
        return variant.toLongLong();
    const double number = value.toDouble();
    constexpr double Limit = 9223372036854775808.0; // 2^63
    if (!std::isfinite(number) || std::trunc(number) != number || number < -Limit || number >= Limit)
        return std::nullopt;
    return qint64(number);
}

} // namespace

QString JsonFields::requiredString(QLatin1StringView key)
{
    const QJsonValue value = m_object.value(key);
    if (!value.isString()) {
        fail();
        return {};
    }
    return value.toString();
}

std::optional<QString> JsonFields::optionalString(QLatin1StringView key)
{
    const QJsonValue value = m_object.value(key);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    if (!value.isString()) {
        fail();
        return std::nullopt;
    }
    return value.toString();
}

qint64 JsonFields::optionalInteger(QLatin1StringView key, qint64 fallback)
{
    const QJsonValue value = m_object.value(key);
    if (value.isUndefined() || value.isNull())
        return fallback;
    const std::optional<qint64> number = value.isDouble() ? wholeNumber(value) : std::nullopt;
    if (!number) {
        fail();
        return fallback;
    }
    return *number;
}

std::optional<QMap<QString, QString>> JsonFields::optionalStringMap(QLatin1StringView key)
{
    const QJsonValue value = m_object.value(key);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    if (!value.isObject()) {
        fail();
        return std::nullopt;
    }
    QMap<QString, QString> map;
    const QJsonObject object = value.toObject();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!it.value().isString()) {
            fail();
            return std::nullopt;
        }
        map.insert(it.key(), it.value().toString());
    }
    return map;
}
