#include "UpdateManager.h"

#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/PluginMetadata.h"
#include "platform/PluginScanner.h"
#include "platform/PropertyListReader.h"

#include <QFileInfo>

namespace {

// What a scan found, or, when the file has not been scanned as it is now,
// no version yet and a note to scan it.
std::optional<QString> scanned(platform::PluginKind kind, const QString &path, const platform::Host &host,
                               QList<UpdateManager::PendingScan> *pending)
{
    const platform::ScanResult result = host.pluginScanner.known(kind, path);
    if (!result.scanned && pending)
        pending->append({kind, path});
    return result.version;
}

// Info.plist first, as on every platform; then the metadata of the kind
// of plug-in found at the path, judged by what is there.
std::optional<QString> bundleVersion(const QString &path, const platform::Host &host,
                                     QList<UpdateManager::PendingScan> *pending)
{
    if (auto version = host.propertyLists.readString(path + QStringLiteral("/Contents/Info.plist"),
                                                     "CFBundleShortVersionString"))
        return version;
    const QFileInfo found(path);
    if (found.isDir()) {
        if (QFileInfo(path + QStringLiteral("/manifest.ttl")).isFile())
            return scanned(platform::PluginKind::Lv2, path, host, pending);
        return host.moduleInfo.version(path);
    }
    if (found.isFile() && path.endsWith(QLatin1String(".clap"), Qt::CaseInsensitive))
        return scanned(platform::PluginKind::Clap, path, host, pending);
    return std::nullopt;
}

} // namespace

QMap<QString, QString> UpdateManager::installedVersions(const Product &product, const platform::Host &host,
                                                        QList<PendingScan> *pending)
{
    QMap<QString, QString> versions;
    const Product::FormatPaths paths = product.resolvedPaths(host.paths.homePath());
    for (auto it = paths.cbegin(); it != paths.cend(); ++it) {
        if (auto version = bundleVersion(it.value(), host, pending))
            versions.insert(it.key(), *version);
    }
    return versions;
}
