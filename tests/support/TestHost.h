#pragma once

#include "platform/Clock.h"
#include "platform/Desktop.h"
#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/Notifier.h"
#include "platform/PluginMetadata.h"
#include "platform/PluginScanner.h"
#include "platform/PropertyListReader.h"
#include "platform/Sleeper.h"
#include "platform/TransferLimits.h"

#include <QNetworkAccessManager>
#include <QStringList>

// Doubles for what tests must not touch for real: the file manager, the
// browser, the wall clock, the package installer and the desktop's
// notifications; the sleeper sleeps for real but is watched. Paths and property lists are real, inside the
// sandboxed HOME; the network only ever talks to LocalHttpService.
struct FixedClock final : platform::Clock
{
    QDateTime time = QDateTime(QDate(2026, 11, 23), QTime(14, 5));
    QDateTime now() const override { return time; }
};

struct RecordingRevealer final : platform::FileRevealer
{
    QStringList revealed; // every file, in the order shown
    int windows = 0;      // one a call
    void reveal(const QStringList &filePaths) override { revealed << filePaths; ++windows; }
};

struct RecordingUrlOpener final : platform::UrlOpener
{
    QList<QUrl> opened;
    void open(const QUrl &url) override { opened << url; }
};

// Takes the package or not, as told.
struct RecordingPackageInstaller final : platform::PackageInstaller
{
    bool takes = false;
    QStringList offered;
    QCoro::Task<bool> install(QString packagePath) override { offered << packagePath; co_return takes; }
};

// Shows whatever it is given, or nothing while the desktop has no service.
struct RecordingNotifier final : platform::Notifier
{
    struct Shown
    {
        QString title, body, actionLabel;
    };
    bool available = true;
    QList<Shown> shown;
    QCoro::Task<bool> notify(QString title, QString body, QString actionLabel) override
    {
        if (available)
            shown << Shown{title, body, actionLabel};
        co_return available;
    }
};

struct RecordingSleeper final : platform::Sleeper
{
    QList<std::chrono::milliseconds> waits;
    platform::BootClockSleeper real;
    QCoro::Task<> sleep(std::chrono::milliseconds duration, const QObject *owner) override { waits << duration; return real.sleep(duration, owner); }
};

struct TestHost
{
    QNetworkAccessManager network; // every transfer follows redirects itself
    platform::SystemHostPaths paths;
    platform::PropertyListFileReader propertyLists;
    platform::Json5ModuleInfoReader moduleInfo;
    // Long enough for a loaded machine; a hanging plug-in costs this once.
    platform::ProcessPluginScanner pluginScanner{QStringLiteral(QUILLMARSH_HUB_PLUGIN_SCANNER), std::chrono::seconds(3)};
    RecordingSleeper sleeper;
    FixedClock clock;
    RecordingRevealer revealer;
    RecordingUrlOpener urlOpener;
    RecordingPackageInstaller packageInstaller;
    platform::NetworkLimits limits; // tests shrink these instead of waiting
    RecordingNotifier notifier;
    platform::Host host{network, paths, propertyLists, moduleInfo, pluginScanner, sleeper, clock, revealer, urlOpener, packageInstaller, limits, notifier};
};
