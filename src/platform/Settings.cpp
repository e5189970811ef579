#include "Settings.h"

namespace platform {

QSettings &hubSettings()
{
    static QSettings settings(QStringLiteral("Quillmarsh"), QStringLiteral("Quillmarsh Hub"));
    return settings;
}

} // namespace platform
