#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>

#include <optional>

#include "JsonFields.h"

namespace json {

// Decodes a document that must be an array of objects, all or nothing:
// `decodeOne` reads one element's fields and the first element that breaks
// the format rejects the whole document.
template <typename T, typename DecodeOne>
std::optional<QList<T>> decodeArray(const QByteArray &bytes, DecodeOne decodeOne)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;

    const QJsonArray array = document.array();
    QList<T> result;
    result.reserve(array.size());
    for (const QJsonValue &element : array) {
        if (!element.isObject())
            return std::nullopt;
        JsonFields fields(element.toObject());
        T item = decodeOne(fields);
        if (!fields.ok())
            return std::nullopt;
        result.append(std::move(item));
    }
    return result;
}

} // namespace json
