#include "TransferLimits.h"

namespace platform {

const qint64 NetworkLimits::InstallerSize = QUILLMARSH_HUB_INSTALLER_SIZE_LIMIT;

const NetworkLimits &NetworkLimits::defaults()
{
    static const NetworkLimits limits;
    return limits;
}

} // namespace platform
