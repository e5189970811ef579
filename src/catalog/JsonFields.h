#pragma once

#include <QJsonObject>
#include <QMap>
#include <QString>

#include <optional>

// Reads typed fields from one JSON object and remembers whether any of them
// broke the format, so a decoder can reject the whole document at the end.
// JSON null counts as an absent key; a wrong type is an error.
class JsonFields
{
public:
    explicit JsonFields(const QJsonObject &object)
        : m_object(object)
    {
    }

    bool ok() const { return m_ok; }

    QString requiredString(QLatin1StringView key);
    std::optional<QString> optionalString(QLatin1StringView key);
    // Whole numbers within 64 bits; a fraction or anything larger fails.
    qint64 optionalInteger(QLatin1StringView key, qint64 fallback);
    // An object whose members are all strings.
    std::optional<QMap<QString, QString>> optionalStringMap(QLatin1StringView key);

private:
    bool fail()
    {
        m_ok = false;
        return false;
    }

    QJsonObject m_object;
    bool m_ok = true;
};
