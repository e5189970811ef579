#include "UpdateManager.h"

#include "platform/HostPaths.h"
#include "platform/PropertyListReader.h"

QMap<QString, QString> UpdateManager::installedVersions(const Product &product, const QString &homePath,
                                                        const platform::PropertyListReader &reader)
{
    QMap<QString, QString> versions;
    const Product::FormatPaths paths = product.resolvedPaths(homePath);
    for (auto it = paths.cbegin(); it != paths.cend(); ++it) {
        const auto version = reader.readString(it.value() + QStringLiteral("/Contents/Info.plist"),
                                               "CFBundleShortVersionString");
        if (version)
            versions.insert(it.key(), *version);
    }
    return versions;
}

QMap<QString, QString> UpdateManager::installedVersions(const Product &product)
{
    return installedVersions(product, platform::SystemHostPaths().homePath(), platform::LibPlistReader());
}
