#include "Desktop.h"

#include <QCoroDBusPendingCall>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>

namespace platform {

void DesktopUrlOpener::open(const QUrl &url)
{
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        QDesktopServices::openUrl(url);
        return;
    }
    QProcess::startDetached(QStringLiteral("xdg-open"), {url.toString(QUrl::FullyEncoded)});
}

namespace {

QCoro::Task<> showItems(QString filePath, UrlOpener &fallback)
{
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(filePath).absolutePath());
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        fallback.open(folder);
        co_return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(filePath).toString()} << QString();
    const QDBusMessage reply = co_await bus.asyncCall(call, 5000);
    if (reply.type() == QDBusMessage::ErrorMessage)
        fallback.open(folder);
}

} // namespace

void DesktopFileRevealer::reveal(const QString &filePath)
{
    showItems(filePath, m_fallback);
}

} // namespace platform
