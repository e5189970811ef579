#include "InstallerDownload.h"

#include "platform/Download.h"

namespace installers {
namespace {

QString lastPathComponent(const QUrl &url)
{
    // Split the encoded path, so an escaped slash stays inside its component
    // and is caught by the safety check once decoded.
    QString path = url.path(QUrl::FullyEncoded);
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    if (path == QLatin1String("/"))
        return path;
    return QUrl::fromPercentEncoding(path.section(u'/', -1).toUtf8());
}

} // namespace

std::optional<QString> fileName(const QUrl &url, const QString &pluginId)
{
    const QString component = lastPathComponent(url);
    if (platform::isSafeFileName(component))
        return component;
    const QString fallback = pluginId + QStringLiteral(".dmg");
    if (platform::isSafeFileName(fallback))
        return fallback;
    return std::nullopt;
}

} // namespace installers
