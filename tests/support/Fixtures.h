#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

// JSON written with single quotes, so it reads cleanly inside C++ strings:
// json("{'a':1}") is {"a":1}.
inline QByteArray json(const char *singleQuoted)
{
    return QByteArray(singleQuoted).replace('\'', '"');
}

// Small catalogue and feed documents for tests.
namespace fixtures {

inline QJsonObject product(const QString &id, const QJsonObject &formats = {}, const QString &category = QStringLiteral("fx"))
{
    QJsonObject object{{"plugin_id", id}, {"display_name", id.toUpper()}, {"category", category}};
    if (!formats.isEmpty())
        object.insert("install_formats", formats);
    return object;
}

inline QJsonObject version(const QString &id, const QString &version, const QString &url = {})
{
    return {{"plugin_id", id}, {"version", version},
            {"download_url", url.isEmpty() ? QStringLiteral("https://dl.example/%1-%2.dmg").arg(id, version) : url}};
}

inline QByteArray document(const QJsonArray &array)
{
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

} // namespace fixtures
