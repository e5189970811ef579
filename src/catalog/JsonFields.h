#pragma once

#include <QMap>
#include <QString>

#include <optional>

namespace json {
struct Member;
}

// Reads typed fields from one JSON object and remembers whether any of them
// broke the format, so a decoder can reject the whole document at the end.
// JSON null counts as an absent key; a wrong type is an error. A key given
// twice means its last value.
class JsonFields
{
public:
    // The members of one object, in document order.
    JsonFields(const json::Member *members, qsizetype count)
        : m_members(members)
        , m_count(count)
    {
    }

    bool ok() const { return m_ok; }

    QString requiredString(QLatin1StringView key);
    std::optional<QString> optionalString(QLatin1StringView key);
    // Whole numbers within 64 bits; a fraction or anything larger fails.
    qint64 optionalInteger(QLatin1StringView key, qint64 fallback);
    // An object whose members are all strings.
    std::optional<QMap<QString, QString>> optionalStringMap(QLatin1StringView key);
    // A whole number of zero or more.
    std::optional<qint64> optionalCount(QLatin1StringView key);
    // For checks of a value's form beyond its type.
    void reject() { fail(); }

private:
    void fail() { m_ok = false; }

    const json::Member *present(QLatin1StringView key) const;

    const json::Member *m_members;
    qsizetype m_count;
    bool m_ok = true;
};
