#pragma once

#include <QCoro/QCoroTask>
#include <QDBusConnection>
#include <QObject>
#include <QSet>
#include <QString>

namespace platform {

// Desktop notifications: a title, a line of text and one action.
class Notifier : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // True once the desktop has shown it; false when nothing can show it.
    virtual QCoro::Task<bool> notify(QString title, QString body, QString actionLabel) = 0;

signals:
    // The user clicked one of our notifications or its action.
    void activated();
};

// org.freedesktop.Notifications on the session bus. The application's name
// and desktop id (QGuiApplication::desktopFileName) name the sender, so the
// desktop shows the hub's icon and groups its notifications.
class DBusNotifier final : public Notifier
{
    Q_OBJECT

public:
    using Notifier::Notifier;

    QCoro::Task<bool> notify(QString title, QString body, QString actionLabel) override;

private slots:
    void onActionInvoked(uint id, const QString &action);
    void onClosed(uint id, uint reason);
    void onActivationToken(uint id, const QString &token);

private:
    // Signals are followed from the first notification on, so that a run
    // that never notifies never asks the bus for anything.
    void follow(QDBusConnection &bus, const QString &signal, const char *slot);
    void followSignals(QDBusConnection &bus);

    bool m_following = false;
    QSet<uint> m_shown; // ids of ours the desktop still shows
};

} // namespace platform
