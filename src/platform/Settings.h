#pragma once

#include <QSettings>

namespace platform {

// The hub's one settings file (~/.config/Quillmarsh/Quillmarsh Hub.conf).
QSettings &hubSettings();

} // namespace platform
