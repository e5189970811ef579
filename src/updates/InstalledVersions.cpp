#include "UpdateManager.h"

#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/PluginMetadata.h"
#include "platform/PluginScanner.h"
#include "platform/PropertyListReader.h"

#include <QFile>

#include <sys/stat.h>

namespace {

// The type bits of what `path` names, links followed; 0 when nothing is there.
mode_t fileType(const QString &path)
{
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

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
    const mode_t type = fileType(path);
    if (type == 0)
        return std::nullopt; // nothing there, so no bundle to read
    if (auto version = host.propertyLists.readString(path + QStringLiteral("/Contents/Info.plist"),
                                                     "CFBundleShortVersionString"))
        return version;
    if (S_ISDIR(type)) {
        if (S_ISREG(fileType(path + QStringLiteral("/manifest.ttl"))))
            return scanned(platform::PluginKind::Lv2, path, host, pending);
        return host.moduleInfo.version(path);
    }
    if (S_ISREG(type) && path.endsWith(QLatin1String(".clap"), Qt::CaseInsensitive))
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
