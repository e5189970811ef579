#include "Notifier.h"

#include <QCoroDBusPendingCall>
#include <QDBusMessage>
#include <QGuiApplication>
#include <QVariantMap>

namespace platform {

namespace {

const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Path = QStringLiteral("/org/freedesktop/Notifications");
const QString Interface = QStringLiteral("org.freedesktop.Notifications");
// The key of the one labelled action; "default" is a click on the notification itself.
const QString ShowAction = QStringLiteral("show");
// A missing service answers at once; a hung one must not hold the check.
constexpr int CallTimeout = 5000;

QDBusMessage call(const QString &method)
{
    return QDBusMessage::createMethodCall(Service, Path, Interface, method);
}

} // namespace

QCoro::Task<bool> DBusNotifier::notify(QString title, QString body, QString actionLabel)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        co_return false;
    followSignals(bus);

    const QDBusMessage capabilities = co_await bus.asyncCall(call(QStringLiteral("GetCapabilities")), CallTimeout);
    if (capabilities.type() == QDBusMessage::ErrorMessage)
        co_return false;
    // A server that reads markup would take a product's "&" for its start.
    if (capabilities.arguments().value(0).toStringList().contains(QStringLiteral("body-markup")))
        body = body.toHtmlEscaped();

    const QString desktopId = QGuiApplication::desktopFileName();
    QVariantMap hints;
    if (!desktopId.isEmpty())
        hints.insert(QStringLiteral("desktop-entry"), desktopId);
    QDBusMessage notify = call(QStringLiteral("Notify"));
    notify << QCoreApplication::applicationName() << 0u << desktopId << title << body
           << QStringList{QStringLiteral("default"), actionLabel, ShowAction, actionLabel} << hints << -1;
    const QDBusMessage reply = co_await bus.asyncCall(notify, CallTimeout);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        co_return false;
    m_shown.insert(reply.arguments().constFirst().toUInt());
    co_return true;
}

void DBusNotifier::followSignals(QDBusConnection &bus)
{
    if (m_following)
        return;
    m_following = true;
    follow(bus, QStringLiteral("ActionInvoked"), SLOT(onActionInvoked(uint, QString)));
    follow(bus, QStringLiteral("NotificationClosed"), SLOT(onClosed(uint, uint)));
    // Newer servers hand over a token that lets the window come to the front.
    follow(bus, QStringLiteral("ActivationToken"), SLOT(onActivationToken(uint, QString)));
}

void DBusNotifier::follow(QDBusConnection &bus, const QString &signal, const char *slot)
{
    bus.connect(Service, Path, Interface, signal, this, slot);
}

void DBusNotifier::onActionInvoked(uint id, const QString &action)
{
    if (m_shown.contains(id) && (action == ShowAction || action == QLatin1String("default")))
        emit activated();
}

void DBusNotifier::onClosed(uint id, uint)
{
    m_shown.remove(id);
}

void DBusNotifier::onActivationToken(uint id, const QString &token)
{
    // Qt's Wayland support takes the token from here at the window's next
    // requestActivate, which follows at once.
    if (m_shown.contains(id) && !token.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

} // namespace platform
