#include "UpdateManager.h"

#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/PluginMetadata.h"
#include "platform/PluginScanner.h"
#include "platform/PropertyListReader.h"

#include <QVarLengthArray>

#include <sys/stat.h>

namespace {

// What a scan found, or, when the file has not been scanned as it is now,
// no version yet and a note to scan it.
std::optional<QString> scanned(platform::PluginKind kind, const QString &path, const platform::FileStatus &status,
                               const platform::Host &host, QList<UpdateManager::PendingScan> *pending)
{
    const platform::ScanResult result = host.pluginScanner.known(kind, path, status);
    if (!result.scanned && pending)
        pending->append({kind, path});
    return result.version;
}

// `bundle` + `inside`, built in one buffer kept between calls (the hub runs
// on one thread): a rebuild builds thousands of these paths.
const QByteArray &pathInside(const QByteArray &bundle, QByteArrayView inside)
{
    static QByteArray path;
    path.resize(0);
    path.append(bundle).append(inside);
    return path;
}

// Info.plist first, as on every platform; then the metadata of the kind
// of plug-in found at the path, judged by what is there.
std::optional<QString> bundleVersion(InstallProbe &probe, qsizetype entry, size_t index, const platform::Host &host,
                                     QList<UpdateManager::PendingScan> *pending)
{
    const InstallPaths::Location &location = probe.paths().of(entry)[index];
    const QByteArray &path = location.native;
    const auto infoPlistVersion = [&] {
        return host.propertyLists.readString(pathInside(path, "/Contents/Info.plist"),
                                             QLatin1StringView("CFBundleShortVersionString"));
    };
    // A path not looked at yet, of a product found installed in another
    // format, is most likely there too: an Info.plist that opens spares
    // looking at it.
    const bool plistFirst = !probe.looked(entry, index) && !path.isNull() && probe.foundAny(entry);
    if (plistFirst) {
        if (auto version = infoPlistVersion())
            return version;
    }
    const platform::FileStatus &status = probe.status(entry, index);
    if (S_ISDIR(status.type)) {
        // Only a folder can hold Contents/Info.plist.
        if (!plistFirst) {
            if (auto version = infoPlistVersion())
                return version;
        }
        if (S_ISREG(platform::FileStatus::of(pathInside(path, "/manifest.ttl").constData()).type))
            return scanned(platform::PluginKind::Lv2, location.path, status, host, pending);
        return host.moduleInfo.version(path);
    }
    if (S_ISREG(status.type) && location.path.endsWith(QLatin1String(".clap"), Qt::CaseInsensitive))
        return scanned(platform::PluginKind::Clap, location.path, status, host, pending);
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
        if (auto version = bundleVersion(probe, entry, i, host, pending))
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
