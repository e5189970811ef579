#include "UpdateManager.h"

#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/PluginMetadata.h"
#include "platform/PluginScanner.h"
#include "platform/PropertyListReader.h"

#include <QVarLengthArray>

#include <sys/stat.h>

namespace {

// The type bits of what `path` names, links followed; 0 when nothing is there.
mode_t fileType(const QByteArray &path)
{
    struct stat status {};
    return ::stat(path.constData(), &status) == 0 ? status.st_mode & S_IFMT : 0;
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
// of plug-in found at the path (of type `type`), judged by what is there.
std::optional<QString> bundleVersion(const InstallPaths::Location &location, mode_t type, const platform::Host &host,
                                     QList<UpdateManager::PendingScan> *pending)
{
    const QByteArray &path = location.native;
    if (S_ISDIR(type)) {
        // Only a folder can hold Contents/Info.plist.
        if (auto version = host.propertyLists.readString(path + "/Contents/Info.plist",
                                                         QLatin1StringView("CFBundleShortVersionString")))
            return version;
        if (S_ISREG(fileType(path + "/manifest.ttl")))
            return scanned(platform::PluginKind::Lv2, location.path, host, pending);
        return host.moduleInfo.version(path);
    }
    if (S_ISREG(type) && location.path.endsWith(QLatin1String(".clap"), Qt::CaseInsensitive))
        return scanned(platform::PluginKind::Clap, location.path, host, pending);
    return std::nullopt;
}

} // namespace

QMap<QString, QString> UpdateManager::installedVersions(const Product &product, const platform::Host &host,
                                                        QList<PendingScan> *pending)
{
    InstallPaths paths;
    paths.update({product}, host.paths.homePath());
    InstallProbe probe(paths);
    QMap<QString, QString> versions;
    readInstalledVersions(probe, 0, host, pending, versions);
    return versions;
}

void UpdateManager::readInstalledVersions(InstallProbe &probe, qsizetype entry, const platform::Host &host,
                                          QList<PendingScan> *pending, QMap<QString, QString> &versions)
{
    const auto locations = probe.paths().of(entry);
    QVarLengthArray<std::pair<const QString *, QString>, 8> found; // in format order, as the map keeps them
    for (size_t i = 0; i < locations.size(); ++i) {
        if (auto version = bundleVersion(locations[i], probe.type(entry, i), host, pending))
            found.append({&locations[i].format, std::move(*version)});
    }
    // Unchanged versions keep their map rather than have it made again.
    bool same = versions.size() == found.size();
    auto kept = versions.cbegin();
    for (qsizetype i = 0; same && i < found.size(); ++i, ++kept)
        same = kept.key() == *found[i].first && kept.value() == found[i].second;
    if (same)
        return;
    versions.clear();
    for (const auto &[format, version] : found)
        versions.insert(*format, version);
}
