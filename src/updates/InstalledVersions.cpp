#include "UpdateManager.h"

#include "platform/HostPaths.h"
#include "platform/PropertyListReader.h"

QMap<QString, QString> UpdateManager::installedVersions(const Product &product, const QString &homePath,
                                                        const platform::PropertyListReader &reader)
{
    QMap<QString, QString> versions;
    const Product::FormatPaths paths = product.resolvedPaths(homePath);
    for (auto it = paths.cbegin(); it != paths.cend(); ++it) {
        const auto info = reader.readDictionary(it.value() + QStringLiteral("/Contents/Info.plist"));
        if (!info)
            continue;
        const QVariant version = info->value(QStringLiteral("CFBundleShortVersionString"));
        if (version.typeId() == QMetaType::QString)
            versions.insert(it.key(), version.toString());
    }
    return versions;
}

QMap<QString, QString> UpdateManager::installedVersions(const Product &product)
{
    return installedVersions(product, platform::SystemHostPaths().homePath(), platform::LibPlistReader());
}
