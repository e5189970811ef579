#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// One release of the hub as an appcast item describes it, with the Linux
// download already chosen from its enclosures.
struct AppcastItem
{
    QString title;
    QDateTime publicationDate; // invalid when absent or unreadable
    QString version;            // sparkle:version
    QString shortVersionString; // sparkle:shortVersionString
    QString description;        // inline release notes, HTML as published
    QUrl releaseNotesLink;      // empty unless https (or http to this machine)
    bool critical = false;
    // With a critical update: it is critical only for versions older than
    // this one; empty for every version.
    QString criticalBelowVersion;

    QString channel;                  // sparkle:channel; empty for everyone
    bool informational = false;       // sparkle:informationalUpdate: notes and a page, never a download
    QStringList informationalBelow;   // its sparkle:belowVersion limits; empty for every version
    QUrl link;                        // the release's web page (<link>), when trusted
    qint64 phasedRolloutInterval = 0; // seconds between rollout groups; 0 for none
    QString minimumAutoupdateVersion; // older running versions get it only when they ask
    // Notes in other languages, by xml:lang; `description` and
    // `releaseNotesLink` are those without a language.
    QHash<QString, QString> localizedDescriptions;
    QHash<QString, QUrl> localizedNotesLinks;

    QUrl url;
    qint64 length = 0;
    QString type;
    QString edSignature; // base64 of 64 bytes

    // What releases are compared and shown by: the short version string
    // when the item has one, else the version. The running hub's version is
    // a short version string (project VERSION), and a build number in
    // sparkle:version need not compare the same way.
    QString comparableVersion() const { return shortVersionString.isEmpty() ? version : shortVersionString; }
    bool isCriticalFor(const QString &runningVersion) const;
    bool isInformationalFor(const QString &runningVersion) const;
    // The notes for `language` ("ja", "en"), else those without a language.
    QString descriptionFor(const QString &language) const;
    QUrl releaseNotesLinkFor(const QString &language) const;
};

// Who is asking, for the rules that decide which item is offered.
struct OfferRules
{
    QStringList channels;  // channels the user chose; items on others are never offered
    bool automatic = true; // a scheduled check, not the user's own
    QDateTime now;
    int rolloutGroup = 0;  // 0 to 6, fixed per installation
};

// A parsed appcast: the items of its channel that the hub can install.
class Appcast
{
public:
    static constexpr auto SparkleNamespace = "http://www.andymatuschak.org/xml-namespaces/sparkle";
    // Longer documents are refused unread.
    static constexpr qsizetype MaximumSize = 1024 * 1024;
    // Real appcasts nest five levels; deeper ones are refused unread.
    static constexpr int MaximumDepth = 64;

    // No value, and a reason in `error`, when the document is too long, is
    // not well-formed XML (a DTD counts as not well-formed) or is not an RSS
    // document. Items for another operating system, and items without a
    // usable enclosure, signature, positive length, version or transport,
    // are left out.
    static std::optional<Appcast> parse(const QByteArray &document, QString *error = nullptr);

    // Usable items, in document order.
    const QList<AppcastItem> &items() const { return m_items; }

    // The newest usable item, whatever the running version; the first of
    // equal ones.
    std::optional<AppcastItem> newest() const;
    // The newest usable item strictly newer than `runningVersion` among the
    // items `rules` allow: on no channel or a chosen one; for automatic
    // checks, only once the phased rollout has reached the group (critical
    // updates at once), and not when the running version is below the
    // item's minimum for automatic updates.
    std::optional<AppcastItem> offerFor(const QString &runningVersion, const OfferRules &rules) const;

private:
    QList<AppcastItem> m_items;
};
