#include "ReleaseNotes.h"

#include <QList>
#include <QUrl>

#include <utility>

namespace releasenotes {
namespace {

bool isAllowed(QStringView name)
{
    static const QStringList allowed{
        QStringLiteral("p"),  QStringLiteral("br"), QStringLiteral("ul"),     QStringLiteral("ol"),
        QStringLiteral("li"), QStringLiteral("b"),  QStringLiteral("strong"), QStringLiteral("i"),
        QStringLiteral("em"), QStringLiteral("h1"), QStringLiteral("h2"),     QStringLiteral("h3"),
        QStringLiteral("h4"), QStringLiteral("a")};
    return allowed.contains(name);
}

// Elements whose content is not text for the reader.
bool dropsContent(QStringView name)
{
    static const QStringList dropped{
        QStringLiteral("script"),   QStringLiteral("style"),  QStringLiteral("head"),     QStringLiteral("title"),
        QStringLiteral("iframe"),   QStringLiteral("object"), QStringLiteral("embed"),    QStringLiteral("noscript"),
        QStringLiteral("template"), QStringLiteral("svg"),    QStringLiteral("math"),     QStringLiteral("textarea"),
        QStringLiteral("select")};
    return dropped.contains(name);
}

bool isNameChar(QChar c)
{
    return c.isLetterOrNumber() || c == u'-' || c == u'_' || c == u':';
}

// The character references an attribute value may use.
QString decodeReferences(QStringView value)
{
    QString decoded;
    for (qsizetype i = 0; i < value.size(); ++i) {
        // A reference is short: look for its ';' only that far, so a value
        // of many '&' stays linear.
        const qsizetype end = value.at(i) == u'&' ? value.mid(i, 11).indexOf(u';') : -1;
        if (end < 0) {
            decoded += value.at(i);
            continue;
        }
        const QStringView name = value.mid(i + 1, end - 1);
        char32_t code = 0;
        bool ok = true;
        if (name == u"amp")
            code = u'&';
        else if (name == u"lt")
            code = u'<';
        else if (name == u"gt")
            code = u'>';
        else if (name == u"quot")
            code = u'"';
        else if (name == u"apos")
            code = u'\'';
        else if (name.startsWith(u"#x") || name.startsWith(u"#X"))
            code = name.mid(2).toUInt(&ok, 16);
        else if (name.startsWith(u'#'))
            code = name.mid(1).toUInt(&ok, 10);
        else
            ok = false;
        if (!ok || code == 0 || code > 0x10FFFF) {
            decoded += value.at(i);
            continue;
        }
        decoded += QString::fromUcs4(&code, 1);
        i += end;
    }
    return decoded;
}

struct Tag
{
    QString name; // lower case
    bool closing = false;
    QList<std::pair<QString, QString>> attributes; // lower-case names, decoded values
};

// Reads the tag starting at html[start] == '<'. Returns the index after it,
// or -1 when this '<' does not open a tag.
qsizetype readTag(QStringView html, qsizetype start, Tag &tag)
{
    qsizetype i = start + 1;
    tag.closing = i < html.size() && html.at(i) == u'/';
    if (tag.closing)
        ++i;
    const qsizetype nameStart = i;
    while (i < html.size() && isNameChar(html.at(i)))
        ++i;
    if (i == nameStart || !html.at(nameStart).isLetter())
        return -1;
    tag.name = html.mid(nameStart, i - nameStart).toString().toLower();

    while (i < html.size()) {
        const QChar c = html.at(i);
        if (c == u'>')
            return i + 1;
        if (c.isSpace() || c == u'/') {
            ++i;
            continue;
        }
        const qsizetype attributeStart = i;
        while (i < html.size() && !html.at(i).isSpace() && html.at(i) != u'=' && html.at(i) != u'>' && html.at(i) != u'/')
            ++i;
        const QString attribute = html.mid(attributeStart, i - attributeStart).toString().toLower();
        while (i < html.size() && html.at(i).isSpace())
            ++i;
        QString value;
        if (i < html.size() && html.at(i) == u'=') {
            ++i;
            while (i < html.size() && html.at(i).isSpace())
                ++i;
            if (i < html.size() && (html.at(i) == u'"' || html.at(i) == u'\'')) {
                const QChar quote = html.at(i);
                const qsizetype close = html.indexOf(quote, i + 1);
                const qsizetype valueEnd = close < 0 ? html.size() : close;
                value = html.mid(i + 1, valueEnd - i - 1).toString();
                i = close < 0 ? html.size() : close + 1;
            } else {
                const qsizetype valueStart = i;
                while (i < html.size() && !html.at(i).isSpace() && html.at(i) != u'>')
                    ++i;
                value = html.mid(valueStart, i - valueStart).toString();
            }
        }
        if (!attribute.isEmpty())
            tag.attributes.append({attribute, decodeReferences(value)});
    }
    return html.size(); // a tag left open at the end is dropped
}

// An http(s) link, re-encoded for an attribute; empty for anything else.
QString safeHref(const Tag &tag)
{
    for (const auto &[name, value] : tag.attributes) {
        if (name != QLatin1StringView("href"))
            continue;
        const QUrl url(value.trimmed(), QUrl::StrictMode);
        const QString scheme = url.scheme().toLower();
        if (!url.isValid() || url.host().isEmpty()
            || (scheme != QLatin1StringView("http") && scheme != QLatin1StringView("https")))
            return {};
        return url.toString(QUrl::FullyEncoded).toHtmlEscaped();
    }
    return {};
}

} // namespace

QString sanitize(QStringView html)
{
    QString out;
    out.reserve(html.size());
    QString droppingUntil;     // the element whose content is being skipped
    QList<bool> anchors;       // open <a> tags: whether each was kept

    for (qsizetype i = 0; i < html.size();) {
        const QChar c = html.at(i);
        if (c != u'<') {
            if (droppingUntil.isEmpty())
                out += c == u'>' ? QStringLiteral("&gt;") : QString(c);
            ++i;
            continue;
        }
        if (html.mid(i).startsWith(u"<!--")) {
            const qsizetype end = html.indexOf(u"-->", i + 4);
            i = end < 0 ? html.size() : end + 3;
            continue;
        }
        if (html.mid(i).startsWith(u"<!") || html.mid(i).startsWith(u"<?")) {
            const qsizetype end = html.indexOf(u'>', i);
            i = end < 0 ? html.size() : end + 1;
            continue;
        }
        Tag tag;
        const qsizetype next = readTag(html, i, tag);
        if (next < 0) {
            if (droppingUntil.isEmpty())
                out += QStringLiteral("&lt;");
            ++i;
            continue;
        }
        i = next;

        if (!droppingUntil.isEmpty()) {
            if (tag.closing && tag.name == droppingUntil)
                droppingUntil.clear();
            continue;
        }
        if (!tag.closing && dropsContent(tag.name)) {
            droppingUntil = tag.name;
            continue;
        }
        if (!isAllowed(tag.name))
            continue;
        if (tag.name == QLatin1StringView("a")) {
            if (tag.closing) {
                if (!anchors.isEmpty() && anchors.takeLast())
                    out += QStringLiteral("</a>");
            } else {
                const QString href = safeHref(tag);
                anchors.append(!href.isEmpty());
                if (!href.isEmpty())
                    out += QStringLiteral("<a href=\"") + href + QStringLiteral("\">");
            }
        } else if (tag.name == QLatin1StringView("br")) {
            if (!tag.closing)
                out += QStringLiteral("<br>");
        } else {
            out += (tag.closing ? QStringLiteral("</") : QStringLiteral("<")) + tag.name + u'>';
        }
    }
    for (const bool kept : std::as_const(anchors)) {
        if (kept)
            out += QStringLiteral("</a>");
    }
    return out;
}

} // namespace releasenotes
