#include "Host.h"

#include "Clock.h"
#include "Desktop.h"
#include "HostPaths.h"
#include "Network.h"
#include "Notifier.h"
#include "PluginMetadata.h"
#include "PluginScanner.h"
#include "PropertyListReader.h"
#include "Sleeper.h"
#include "TransferLimits.h"

namespace platform {

Host &Host::system()
{
    static SystemHostPaths paths;
    static PropertyListFileReader propertyLists;
    static Json5ModuleInfoReader moduleInfo;
    static ProcessPluginScanner pluginScanner(ProcessPluginScanner::defaultScannerPath());
    static BootClockSleeper sleeper;
    static SystemClock clock;
    static DesktopUrlOpener urlOpener;
    static DesktopFileRevealer revealer(urlOpener);
    static DesktopPackageInstaller packageInstaller;
    static DBusNotifier notifier;
    static Host host{sharedNetwork(), paths, propertyLists, moduleInfo, pluginScanner, sleeper, clock, revealer, urlOpener, packageInstaller,
                       NetworkLimits::defaults(), notifier};
    return host;
}

} // namespace platform
