#pragma once

#include "catalog/Product.h"

#include <QMap>
#include <QObject>
#include <QString>

namespace platform {
class PropertyListReader;
}

class UpdateManager : public QObject
{
    Q_OBJECT

public:
    explicit UpdateManager(QObject *parent = nullptr);

    // Strictly newer by numeric components; see versions::isNewer.
    static bool isNewer(const QString &candidate, const QString &reference);

    // Format → CFBundleShortVersionString of each installed bundle whose
    // Contents/Info.plist carries one as a string.
    static QMap<QString, QString> installedVersions(const Product &product, const QString &homePath,
                                                    const platform::PropertyListReader &reader);
    static QMap<QString, QString> installedVersions(const Product &product);
};
