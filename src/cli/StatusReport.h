#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

class AppState;

namespace cli {

// Everything `quillmarsh-hub status` prints, as text or as one JSON object.
class StatusReport
{
public:
    explicit StatusReport(const AppState &state);

    QJsonObject toJson() const { return m_json; }
    QString json() const;
    QString text() const;

private:
    QJsonObject m_json;
};

} // namespace cli
