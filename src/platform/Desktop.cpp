#include "Desktop.h"

#include <QCoroDBusPendingCall>
#include <QCoroProcess>
#include <QCoroSignal>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QMimeDatabase>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>

namespace platform {

namespace {

// Whether the desktop's opener started.
bool openWithDesktop(const QUrl &url)
{
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return QDesktopServices::openUrl(url);
    return QProcess::startDetached(QStringLiteral("xdg-open"), {url.toString(QUrl::FullyEncoded)});
}

} // namespace

void DesktopUrlOpener::open(const QUrl &url)
{
    openWithDesktop(url);
}

namespace {

QCoro::Task<> showItems(QStringList filePaths, UrlOpener &fallback)
{
    if (filePaths.isEmpty())
        co_return;
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(filePaths.constFirst()).absolutePath());
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        fallback.open(folder);
        co_return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    QStringList uris;
    for (const QString &filePath : filePaths)
        uris << QUrl::fromLocalFile(filePath).toString();
    call << uris << QString();
    const QDBusMessage reply = co_await bus.asyncCall(call, 5000);
    if (reply.type() == QDBusMessage::ErrorMessage)
        fallback.open(folder);
}

} // namespace

void DesktopFileRevealer::reveal(const QStringList &filePaths)
{
    showItems(filePaths, m_fallback);
}

QCoro::Task<bool> DesktopPackageInstaller::install(QString packagePath)
{
    if (co_await throughPackageKit(packagePath))
        co_return true;
    co_return co_await throughDefaultHandler(packagePath);
}

namespace {

const QString PackageKitService = QStringLiteral("org.freedesktop.PackageKit");

bool packageKitIsThere(QDBusConnection &bus)
{
    return bus.isConnected() && bus.interface()
        && (bus.interface()->isServiceRegistered(PackageKitService).value()
            || bus.interface()->activatableServiceNames().value().contains(PackageKitService));
}

QDBusMessage installPackageFiles(const QString &packagePath)
{
    QDBusMessage call = QDBusMessage::createMethodCall(PackageKitService, QStringLiteral("/org/freedesktop/PackageKit"),
                                                       QStringLiteral("org.freedesktop.PackageKit.Modify"),
                                                       QStringLiteral("InstallPackageFiles"));
    call << 0u << QStringList{packagePath} << QStringLiteral("hide-finished");
    return call;
}

QStringList defaultHandlerQuery(const QString &packagePath)
{
    return {QStringLiteral("query"), QStringLiteral("default"), QMimeDatabase().mimeTypeForFile(packagePath).name()};
}

} // namespace

QCoro::Task<bool> DesktopPackageInstaller::throughPackageKit(QString packagePath)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!packageKitIsThere(bus))
        co_return false;
    const QDBusMessage call = installPackageFiles(packagePath);
    // The call returns when the user has finished with the installer, which
    // may be minutes away; a service that refuses does so at once.
    QDBusPendingCallWatcher watcher(bus.asyncCall(call, 60 * 60 * 1000));
    const auto finished = co_await qCoro(&watcher, &QDBusPendingCallWatcher::finished, std::chrono::seconds(3));
    co_return !finished || !watcher.isError();
}

QCoro::Task<bool> DesktopPackageInstaller::throughDefaultHandler(QString packagePath)
{
    QProcess query;
    query.setProgram(QStringLiteral("xdg-mime"));
    query.setArguments(defaultHandlerQuery(packagePath));
    auto running = qCoro(query);
    if (!co_await running.start(QIODevice::ReadOnly)
        || !co_await running.waitForFinished(std::chrono::seconds(5)))
        co_return false;
    if (query.exitCode() != 0 || query.readAllStandardOutput().trimmed().isEmpty())
        co_return false; // nothing is registered for packages: opening would do nothing useful
    co_return openWithDesktop(QUrl::fromLocalFile(packagePath));
}

} // namespace platform
