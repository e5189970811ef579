#include "UpdateNotifier.h"

#include "UpdateManager.h"
#include "l10n/L10n.h"
#include "platform/Clock.h"
#include "platform/Host.h"
#include "platform/Notifier.h"
#include "platform/Settings.h"

#include <QUrl>

namespace {

const StringKey ShowUpdates{QStringLiteral("Show Updates"), QStringLiteral("アップデートを表示")};

// Settings keys nest at "/", which a product id may hold.
QString announcedKey(const QString &productId)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(productId));
}

} // namespace

UpdateNotifier::UpdateNotifier(UpdateManager &manager, platform::Host &host,
                               const L10n &l10n, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_host(host)
    , m_l10n(l10n)
    , m_enabled(platform::hubSettings().value(EnabledKey, true).toBool())
{
    connect(&manager, &UpdateManager::automaticCheckFinished, this, [this] { announceOnceScanned(); });
    connect(&host.notifier, &platform::Notifier::activated, this, &UpdateNotifier::updatesRequested);
}

void UpdateNotifier::setEnabled(bool enabled)
{
    const bool changed = enabled != m_enabled;
    m_enabled = enabled;
    platform::hubSettings().setValue(EnabledKey, enabled);
    if (changed)
        emit enabledChanged();
}

QCoro::Task<bool> UpdateNotifier::announce()
{
    if (!m_enabled || m_sending || sentWithinGap())
        co_return false;
    const QList<Fresh> fresh = freshUpdates();
    if (fresh.isEmpty())
        co_return false;

    QStringList names;
    for (qsizetype i = 0; i < fresh.size() && i < NamedProducts; ++i)
        names << fresh[i].displayName;
    const QString title = m_l10n.string(L10n::updatesAvailable(fresh.size()));
    const QString body = m_l10n.string(L10n::productNames(names, fresh.size() - names.size()));

    QPointer self(this);
    m_sending = true;
    const bool shown = co_await m_host.notifier.notify(title, body, m_l10n.string(ShowUpdates));
    if (!self)
        co_return shown;
    m_sending = false;
    // Nothing shown, nothing announced: the next automatic check tries again.
    if (shown)
        remember(fresh);
    co_return shown;
}

QCoro::Task<> UpdateNotifier::announceOnceScanned()
{
    // Plug-ins whose version only a scan tells are not in the states
    // before their scan ends; at start the scans run beside the check.
    QPointer self(this);
    co_await m_manager.finishPluginScans();
    if (self)
        co_await announce();
}

QList<UpdateNotifier::Fresh> UpdateNotifier::freshUpdates() const
{
    QSettings &settings = platform::hubSettings();
    settings.beginGroup(QLatin1String(AnnouncedGroup));
    QList<Fresh> fresh;
    for (const QString &id : m_manager.outdatedProducts()) {
        const ProductUpdateState &state = *m_manager.states().constFind(id);
        const QString &version = state.status.latestVersion;
        if (settings.value(announcedKey(id)).toString() != version)
            fresh << Fresh{id, state.product.displayName, version};
    }
    settings.endGroup();
    return fresh;
}

bool UpdateNotifier::sentWithinGap() const
{
    const QDateTime last = QDateTime::fromString(platform::hubSettings().value(LastNotifiedKey).toString(), Qt::ISODate);
    const QDateTime now = m_host.clock.now();
    // A clock set back since then holds nothing off.
    return last.isValid() && last <= now && now < last.addDuration(MinimumGap);
}

void UpdateNotifier::remember(const QList<Fresh> &announced)
{
    QSettings &settings = platform::hubSettings();
    settings.beginGroup(QLatin1String(AnnouncedGroup));
    for (const Fresh &update : announced)
        settings.setValue(announcedKey(update.id), update.version);
    settings.endGroup();
    settings.setValue(LastNotifiedKey, m_host.clock.now().toUTC().toString(Qt::ISODate));
}
