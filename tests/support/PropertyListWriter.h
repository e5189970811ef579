#pragma once

#include <QString>
#include <QVariantMap>

// Writes flat property lists through libplist, for tests and the demo's
// installed bundles.
namespace plistwriter {

enum class Format { Xml, Binary };

// Integers are written as numbers, everything else as strings.
QByteArray serialize(const QVariantMap &dictionary, Format format);
// Creates <bundle>/Contents/Info.plist with the given dictionary.
bool writeBundle(const QString &bundlePath, const QVariantMap &info, Format format);

} // namespace plistwriter
