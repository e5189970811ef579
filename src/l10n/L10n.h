#pragma once

#include "AppLanguage.h"
#include "StringKey.h"

#include <QObject>
#include <QStringList>

// Holds the interface language, keeps it in the settings file and tells
// every view when it changes.
class L10n : public QObject
{
    Q_OBJECT
    Q_PROPERTY(AppLanguageNs::AppLanguage language READ language WRITE setLanguage NOTIFY languageChanged)
    Q_PROPERTY(bool japanese READ isJapanese NOTIFY languageChanged)

public:
    static constexpr auto SettingsKey = "app_language";

    // Reads the stored choice; writes nothing.
    explicit L10n(QObject *parent = nullptr);

    // The one instance of the process, made on first use.
    static L10n &shared();

    AppLanguage language() const { return m_language; }
    // Every call stores the choice; only a change notifies.
    void setLanguage(AppLanguage language);
    bool isJapanese() const { return m_language == AppLanguage::Ja; }

    Q_INVOKABLE QString string(const StringKey &key) const;

    static StringKey lastChecked(const QString &time);
    static StringKey updatesAvailable(qint64 count);
    // "Alpha, Beta, Gamma and 2 more": `names` in full, then how many more.
    static StringKey productNames(const QStringList &names, qint64 more);
    // "1.5 MB of 20.0 MB", or the received size alone while the total is
    // unknown (negative or zero).
    static StringKey downloadedSize(qint64 received, qint64 total);
    // "48 of 310 MB, 12 MB/s" (MB = 10^6 bytes, one decimal under 10); the
    // total left out while unknown (negative), the rate while negative.
    static StringKey downloadProgress(qint64 received, qint64 total, double bytesPerSecond);

    Q_INVOKABLE QString lastCheckedText(const QString &time) const { return string(lastChecked(time)); }
    Q_INVOKABLE QString updatesAvailableText(qint64 count) const { return string(updatesAvailable(count)); }
    Q_INVOKABLE QString downloadedSizeText(double received, double total) const
    {
        return string(downloadedSize(qint64(received), qint64(total)));
    }

signals:
    void languageChanged();

private:
    AppLanguage m_language = AppLanguage::En;
};
