#include "HostPaths.h"

#include <QDir>
#include <QStandardPaths>

namespace platform {

QString SystemHostPaths::homePath() const
{
    QString home = QDir::homePath();
    while (home.size() > 1 && home.endsWith(u'/'))
        home.chop(1);
    return home;
}

QString SystemHostPaths::hubDirectory() const
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return data.isEmpty() ? QString() : data + QStringLiteral("/QuillmarshHub");
}

QString SystemHostPaths::downloadsDirectory() const
{
    return QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
}

} // namespace platform
