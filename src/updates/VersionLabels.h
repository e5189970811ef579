#pragma once

#include <QMap>
#include <QString>

#include <optional>

// Pieces of the texts that show a product's installed versions, keyed by
// install format as UpdateManager::installedVersions returns them.
namespace versionlabels {

// The version every format has, when they all have the same one.
std::optional<QString> sharedVersion(const QMap<QString, QString> &versions);
// "AU 1.0 / VST3 1.1": each format in upper case with its version, in key order.
QString perFormat(const QMap<QString, QString> &versions);

} // namespace versionlabels
