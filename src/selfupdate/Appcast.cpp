#include "Appcast.h"

#include "SignatureVerifier.h"
#include "platform/ServiceAddress.h"
#include "platform/XmlDepth.h"
#include "updates/UpdateManager.h"

#include <QXmlStreamReader>

namespace {

bool isPlain(const QXmlStreamReader &reader, QLatin1StringView name)
{
    return reader.namespaceUri().isEmpty() && reader.name() == name;
}

bool isSparkle(const QXmlStreamReader &reader, QLatin1StringView name)
{
    return reader.namespaceUri() == QLatin1StringView(Appcast::SparkleNamespace) && reader.name() == name;
}

QString sparkleAttribute(const QXmlStreamAttributes &attributes, QLatin1StringView name)
{
    return attributes.value(QLatin1StringView(Appcast::SparkleNamespace), name).toString().trimmed();
}

struct Enclosure
{
    QString url;
    QString length;
    QString type;
    QString signature;
    QString os;
    QString version;
    QString shortVersionString;
};

// What an <item> says, before anything is checked.
struct RawItem
{
    AppcastItem item;
    QString releaseNotesLink;
    QHash<QString, QString> localizedNotesLinks;
    QString link;
    QList<Enclosure> enclosures;
};

Enclosure readEnclosure(const QXmlStreamAttributes &attributes)
{
    return {attributes.value(QLatin1StringView("url")).toString().trimmed(),
            attributes.value(QLatin1StringView("length")).toString().trimmed(),
            attributes.value(QLatin1StringView("type")).toString().trimmed(),
            sparkleAttribute(attributes, QLatin1StringView("edSignature")),
            sparkleAttribute(attributes, QLatin1StringView("os")),
            sparkleAttribute(attributes, QLatin1StringView("version")),
            sparkleAttribute(attributes, QLatin1StringView("shortVersionString"))};
}

void readCriticalUpdate(QXmlStreamReader &reader, AppcastItem &item)
{
    item.critical = true;
    item.criticalBelowVersion = sparkleAttribute(reader.attributes(), QLatin1StringView("version"));
    reader.skipCurrentElement();
}

QString language(const QXmlStreamReader &reader)
{
    return reader.attributes().value(QLatin1StringView("http://www.w3.org/XML/1998/namespace"), QLatin1StringView("lang"))
        .toString().trimmed().toLower();
}

void readInformational(QXmlStreamReader &reader, AppcastItem &item)
{
    item.informational = true;
    while (reader.readNextStartElement()) {
        if (isSparkle(reader, QLatin1StringView("belowVersion")))
            item.informationalBelow << reader.readElementText().trimmed();
        else
            reader.skipCurrentElement();
    }
}

RawItem readItem(QXmlStreamReader &reader)
{
    RawItem raw;
    AppcastItem &item = raw.item;
    while (reader.readNextStartElement()) {
        const QString lang = language(reader);
        if (isPlain(reader, QLatin1StringView("title"))) {
            item.title = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
        } else if (isPlain(reader, QLatin1StringView("pubDate"))) {
            item.publicationDate = QDateTime::fromString(reader.readElementText().trimmed(), Qt::RFC2822Date);
        } else if (isPlain(reader, QLatin1StringView("description"))) {
            const QString text = reader.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
            if (lang.isEmpty())
                item.description = text;
            else
                item.localizedDescriptions.insert(lang, text);
        } else if (isPlain(reader, QLatin1StringView("link"))) {
            raw.link = reader.readElementText().trimmed();
        } else if (isSparkle(reader, QLatin1StringView("channel"))) {
            item.channel = reader.readElementText().trimmed();
        } else if (isSparkle(reader, QLatin1StringView("informationalUpdate"))) {
            readInformational(reader, item);
        } else if (isSparkle(reader, QLatin1StringView("phasedRolloutInterval"))) {
            item.phasedRolloutInterval = std::max<qint64>(0, reader.readElementText().trimmed().toLongLong());
        } else if (isSparkle(reader, QLatin1StringView("minimumAutoupdateVersion"))) {
            item.minimumAutoupdateVersion = reader.readElementText().trimmed();
        } else if (isPlain(reader, QLatin1StringView("enclosure"))) {
            raw.enclosures << readEnclosure(reader.attributes());
            reader.skipCurrentElement();
        } else if (isSparkle(reader, QLatin1StringView("version"))) {
            item.version = reader.readElementText().trimmed();
        } else if (isSparkle(reader, QLatin1StringView("shortVersionString"))) {
            item.shortVersionString = reader.readElementText().trimmed();
        } else if (isSparkle(reader, QLatin1StringView("releaseNotesLink"))) {
            const QString link = reader.readElementText().trimmed();
            if (!lang.isEmpty())
                raw.localizedNotesLinks.insert(lang, link);
            else if (raw.releaseNotesLink.isEmpty())
                raw.releaseNotesLink = link;
        } else if (isSparkle(reader, QLatin1StringView("criticalUpdate"))) {
            readCriticalUpdate(reader, item);
        } else if (isSparkle(reader, QLatin1StringView("tags"))) {
            // Older feeds mark critical updates inside <sparkle:tags>.
            while (reader.readNextStartElement()) {
                if (isSparkle(reader, QLatin1StringView("criticalUpdate")))
                    readCriticalUpdate(reader, item);
                else
                    reader.skipCurrentElement();
            }
        } else {
            reader.skipCurrentElement();
        }
    }
    return raw;
}

std::optional<QUrl> trustedUrl(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (text.isEmpty() || !url.isValid() || url.isRelative() || !links::isTrustedTransport(url))
        return std::nullopt;
    return url;
}

// The item the hub could install, or nothing when the item is for another
// operating system or misses a piece.
// The item the hub could offer, or nothing when the item is for another
// operating system or misses a piece. An informational item needs no
// download, only a version.
std::optional<AppcastItem> usableItem(RawItem raw)
{
    AppcastItem item = std::move(raw.item);
    // Bad links cost the link, not the release.
    item.releaseNotesLink = trustedUrl(raw.releaseNotesLink).value_or(QUrl());
    for (auto it = raw.localizedNotesLinks.cbegin(); it != raw.localizedNotesLinks.cend(); ++it) {
        if (const auto url = trustedUrl(it.value()))
            item.localizedNotesLinks.insert(it.key(), *url);
    }
    item.link = trustedUrl(raw.link).value_or(QUrl());

    const auto forLinux = std::find_if(raw.enclosures.cbegin(), raw.enclosures.cend(), [](const Enclosure &e) {
        return e.os.isEmpty() || e.os.compare(QLatin1StringView("linux"), Qt::CaseInsensitive) == 0;
    });
    if (forLinux == raw.enclosures.cend()) {
        if (!item.informational || item.comparableVersion().isEmpty())
            return std::nullopt;
        return item;
    }
    const auto url = trustedUrl(forLinux->url);
    bool lengthOk = false;
    item.length = forLinux->length.toLongLong(&lengthOk);
    if (!item.informational
        && (!url || !lengthOk || item.length <= 0 || !SignatureVerifier::decodeSignature(forLinux->signature)))
        return std::nullopt;
    item.url = url.value_or(QUrl());
    item.type = forLinux->type;
    item.edSignature = forLinux->signature;
    if (item.version.isEmpty())
        item.version = forLinux->version;
    if (item.shortVersionString.isEmpty())
        item.shortVersionString = forLinux->shortVersionString;
    if (item.comparableVersion().isEmpty())
        return std::nullopt;
    return item;
}

} // namespace

bool AppcastItem::isInformationalFor(const QString &runningVersion) const
{
    if (!informational)
        return false;
    return informationalBelow.isEmpty()
        || std::any_of(informationalBelow.cbegin(), informationalBelow.cend(), [&](const QString &below) {
               return UpdateManager::isNewer(below, runningVersion);
           });
}

QString AppcastItem::descriptionFor(const QString &language) const
{
    return localizedDescriptions.value(language, description);
}

QUrl AppcastItem::releaseNotesLinkFor(const QString &language) const
{
    return localizedNotesLinks.value(language, releaseNotesLink);
}

bool AppcastItem::isCriticalFor(const QString &runningVersion) const
{
    return critical && (criticalBelowVersion.isEmpty() || UpdateManager::isNewer(criticalBelowVersion, runningVersion));
}

std::optional<Appcast> Appcast::parse(const QByteArray &document, QString *error)
{
    auto fail = [&](const QString &why) -> std::optional<Appcast> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    if (document.size() > MaximumSize)
        return fail(QStringLiteral("the appcast is longer than %1 bytes").arg(MaximumSize));
    if (platform::xmlShape(document, MaximumDepth) == platform::XmlShape::TooDeep)
        return fail(QStringLiteral("the appcast nests elements more than %1 levels deep").arg(MaximumDepth));

    QXmlStreamReader reader(document);
    // Up to the root element; feeds have no use for a DTD and its entities.
    while (!reader.atEnd() && reader.readNext() != QXmlStreamReader::StartElement) {
        if (reader.tokenType() == QXmlStreamReader::DTD)
            return fail(QStringLiteral("the appcast declares a DTD"));
    }
    if (reader.hasError())
        return fail(QStringLiteral("the appcast is not well-formed XML: %1").arg(reader.errorString()));
    if (reader.tokenType() != QXmlStreamReader::StartElement || !isPlain(reader, QLatin1StringView("rss")))
        return fail(QStringLiteral("the appcast is not an RSS document"));

    Appcast appcast;
    while (reader.readNextStartElement()) {
        if (!isPlain(reader, QLatin1StringView("channel"))) {
            reader.skipCurrentElement();
            continue;
        }
        while (reader.readNextStartElement()) {
            if (!isPlain(reader, QLatin1StringView("item"))) {
                reader.skipCurrentElement();
                continue;
            }
            if (auto item = usableItem(readItem(reader)))
                appcast.m_items << std::move(*item);
        }
    }
    // Whatever follows the root must be well-formed too.
    while (!reader.atEnd())
        reader.readNext();
    if (reader.hasError())
        return fail(QStringLiteral("the appcast is not well-formed XML: %1").arg(reader.errorString()));
    return appcast;
}

std::optional<AppcastItem> Appcast::newest() const
{
    std::optional<AppcastItem> best;
    for (const AppcastItem &item : m_items) {
        if (!best || UpdateManager::isNewer(item.comparableVersion(), best->comparableVersion()))
            best = item;
    }
    return best;
}

std::optional<AppcastItem> Appcast::offerFor(const QString &runningVersion, const OfferRules &rules) const
{
    std::optional<AppcastItem> best;
    for (const AppcastItem &item : m_items) {
        if (!item.channel.isEmpty() && !rules.channels.contains(item.channel))
            continue;
        if (rules.automatic) {
            const bool phased = item.phasedRolloutInterval > 0 && item.publicationDate.isValid()
                && !item.isCriticalFor(runningVersion);
            if (phased && rules.now < item.publicationDate.addSecs(item.phasedRolloutInterval * rules.rolloutGroup))
                continue;
            if (!item.minimumAutoupdateVersion.isEmpty()
                && UpdateManager::isNewer(item.minimumAutoupdateVersion, runningVersion))
                continue;
        }
        if (UpdateManager::isNewer(item.comparableVersion(), runningVersion)
            && (!best || UpdateManager::isNewer(item.comparableVersion(), best->comparableVersion())))
            best = item;
    }
    return best;
}
