#pragma once

class QNetworkAccessManager;

namespace platform {

class HostPaths;
class PropertyListReader;
class ModuleInfoReader;
class PluginScanner;
class Sleeper;
class Clock;
class FileRevealer;
class UrlOpener;
class PackageInstaller;
class Notifier;
struct NetworkLimits;

// Every service the model needs from the machine. The application uses
// `system()`; tests build their own from doubles.
struct Host
{
    QNetworkAccessManager &network;
    const HostPaths &paths;
    const PropertyListReader &propertyLists;
    const ModuleInfoReader &moduleInfo;
    PluginScanner &pluginScanner;
    Sleeper &sleeper;
    const Clock &clock;
    FileRevealer &revealer;
    UrlOpener &urlOpener;
    PackageInstaller &packageInstaller;
    const NetworkLimits &limits;
    Notifier &notifier;

    static Host &system();
};

} // namespace platform
