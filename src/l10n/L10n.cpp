#include "L10n.h"

#include "platform/Settings.h"

#include <cmath>

L10n::L10n(QObject *parent)
    : QObject(parent)
{
    const QString stored = platform::hubSettings().value(SettingsKey).toString();
    // Only the exact stored texts count ("JA" is English); the system
    // locale plays no part.
    m_language = appLanguage::fromStoredText(stored).value_or(AppLanguage::En);
}

L10n &L10n::shared()
{
    static L10n *instance = new L10n;
    return *instance;
}

void L10n::setLanguage(AppLanguage language)
{
    const bool changed = language != m_language;
    m_language = language;
    platform::hubSettings().setValue(SettingsKey, appLanguage::storedText(language));
    if (changed)
        emit languageChanged();
}

QString L10n::string(const StringKey &key) const
{
    return isJapanese() ? key.ja : key.en;
}

StringKey L10n::lastChecked(const QString &time)
{
    return {QStringLiteral("Last checked: ") + time + QStringLiteral(" today"),
            QStringLiteral("最終確認: 今日 ") + time};
}

StringKey L10n::updatesAvailable(qint64 count)
{
    const QString number = QString::number(count);
    return {number + QStringLiteral(" update") + (count == 1 ? QString() : QStringLiteral("s"))
                + QStringLiteral(" available"),
            number + QStringLiteral("件のアップデートがあります")};
}

StringKey L10n::productNames(const QStringList &names, qint64 more)
{
    StringKey text{names.join(QStringLiteral(", ")), names.join(QStringLiteral("、"))};
    if (more > 0) {
        text.en += QStringLiteral(" and %1 more").arg(more);
        text.ja += QStringLiteral(" ほか %1 件").arg(more);
    }
    return text;
}

StringKey L10n::downloadedSize(qint64 received, qint64 total)
{
    const auto megabytes = [](qint64 bytes) {
        return QString::number(double(bytes) / (1024 * 1024), 'f', 1) + QStringLiteral(" MB");
    };
    if (total <= 0)
        return {megabytes(received), megabytes(received)};
    return {QStringLiteral("%1 of %2").arg(megabytes(received), megabytes(total)),
            QStringLiteral("%1 / %2").arg(megabytes(received), megabytes(total))};
}

StringKey L10n::downloadProgress(qint64 received, qint64 total, double bytesPerSecond)
{
    const auto megabytes = [](double bytes) {
        const double value = bytes / 1e6;
        const bool small = std::round(value * 10) < 100;
        return QString::number(value, 'f', small ? 1 : 0);
    };
    const QString got = megabytes(double(received));
    StringKey text = total >= 0
        ? StringKey{QStringLiteral("%1 of %2 MB").arg(got, megabytes(double(total))),
                    QStringLiteral("%2 MB 中 %1 MB").arg(got, megabytes(double(total)))}
        : StringKey{got + QStringLiteral(" MB"), got + QStringLiteral(" MB")};
    if (bytesPerSecond >= 0) {
        const QString rate = megabytes(bytesPerSecond);
        text.en += QStringLiteral(", %1 MB/s").arg(rate);
        text.ja += QStringLiteral("、%1 MB/秒").arg(rate);
    }
    return text;
}
