#pragma once

#include <QCoro/QCoroTask>
#include <QObject>

#include <chrono>

class L10n;
class UpdateManager;

namespace platform {
struct Host;
}

// Tells the desktop when a check the hub made by itself finds product
// versions it has not announced before: one notification for all of them,
// at most one a day, none while the user has turned them off. What was
// announced, and when, is kept in the settings file.
class UpdateNotifier : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool enabled READ isEnabled WRITE setEnabled NOTIFY enabledChanged)

public:
    static constexpr auto EnabledKey = "notifications/enabled";
    // A group: product id (percent-encoded) → the version last announced.
    static constexpr auto AnnouncedGroup = "notifications/announced";
    // When the last one was shown, in UTC.
    static constexpr auto LastNotifiedKey = "notifications/lastSent";
    static constexpr std::chrono::hours MinimumGap{24};
    // Products named in the text; the rest are counted.
    static constexpr int NamedProducts = 3;

    UpdateNotifier(UpdateManager &manager, platform::Host &host, const L10n &l10n, QObject *parent = nullptr);

    bool isEnabled() const { return m_enabled; }
    // Every call stores the choice; only a change notifies.
    void setEnabled(bool enabled);

    // Sends the notification for the versions newly available now, when one
    // is due; true once the desktop has shown it.
    QCoro::Task<bool> announce();

signals:
    void enabledChanged();
    // The user clicked the notification: the updates want showing.
    void updatesRequested();

private:
    struct Fresh
    {
        QString id;
        QString displayName;
        QString version;
    };
    QCoro::Task<> announceOnceScanned();
    // Available versions not announced before, in catalogue order.
    QList<Fresh> freshUpdates() const;
    bool sentWithinGap() const;
    void remember(const QList<Fresh> &announced);

    UpdateManager &m_manager;
    platform::Host &m_host;
    const L10n &m_l10n;
    bool m_enabled;
    bool m_sending = false;
};
