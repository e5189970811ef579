#pragma once

#include <QString>
#include <QUrl>

#include <optional>

namespace installers {

// The name an installer is saved under: the URL's last path component,
// percent-decoded, trailing slashes ignored, or `<pluginId>.dmg` when that
// cannot name a single file. No value when neither can.
std::optional<QString> fileName(const QUrl &url, const QString &pluginId);

} // namespace installers
