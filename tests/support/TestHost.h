#pragma once

#include "platform/Clock.h"
#include "platform/Desktop.h"
#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/PluginMetadata.h"
#include "platform/PluginScanner.h"
#include "platform/PropertyListReader.h"
#include "platform/Sleeper.h"
#include "platform/TransferLimits.h"

#include <QNetworkAccessManager>
#include <QStringList>

// Doubles for what tests must not touch for real: the file manager, the
// browser, the wall clock and the package installer; the sleeper sleeps for
// real but is watched. Paths and property lists are real, inside the
// sandboxed HOME; the network only ever talks to LocalHttpService.
class FixedClock final : public platform::Clock
{
public:
    QDateTime time = QDateTime(QDate(2026, 11, 23), QTime(14, 5));
    QDateTime now() const override { return time; }
};

class RecordingRevealer final : public platform::FileRevealer
{
public:
    QStringList revealed;
    void reveal(const QString &filePath) override { revealed << filePath; }
};

class RecordingUrlOpener final : public platform::UrlOpener
{
public:
    QList<QUrl> opened;
    void open(const QUrl &url) override { opened << url; }
};

// Takes the package or not, as told.
class RecordingPackageInstaller final : public platform::PackageInstaller
{
public:
    bool takes = false;
    QStringList offered;
    QCoro::Task<bool> install(QString packagePath) override { offered << packagePath; co_return takes; }
};

class RecordingSleeper final : public platform::Sleeper
{
public:
    QList<std::chrono::milliseconds> waits;
    QCoro::Task<> sleep(std::chrono::milliseconds duration, const QObject *owner) override
    {
        waits << duration;
        return m_clock.sleep(duration, owner);
    }

private:
    platform::BootClockSleeper m_clock;
};

class TestHost
{
public:
    QNetworkAccessManager network; // every transfer follows redirects itself
    platform::SystemHostPaths paths;
    platform::LibPlistReader propertyLists;
    platform::Json5ModuleInfoReader moduleInfo;
    // Long enough for a loaded machine; a hanging plug-in costs this once.
    platform::ProcessPluginScanner pluginScanner{QStringLiteral(QUILLMARSH_HUB_PLUGIN_SCANNER), std::chrono::seconds(3)};
    RecordingSleeper sleeper;
    FixedClock clock;
    RecordingRevealer revealer;
    RecordingUrlOpener urlOpener;
    RecordingPackageInstaller packageInstaller;
    platform::NetworkLimits limits; // tests shrink these instead of waiting
    platform::Host host{network, paths, propertyLists, moduleInfo, pluginScanner, sleeper, clock, revealer, urlOpener, packageInstaller, limits};
};
