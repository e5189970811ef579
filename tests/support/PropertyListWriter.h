#pragma once

#include <QString>
#include <QVariantMap>

// Writes property lists for tests and the demo's installed bundles.
namespace plistwriter {

enum class Format { Xml, Binary };

QByteArray serialize(const QVariantMap &dictionary, Format format);
// Creates <bundle>/Contents/Info.plist with the given dictionary.
bool writeBundle(const QString &bundlePath, const QVariantMap &info, Format format);

} // namespace plistwriter
