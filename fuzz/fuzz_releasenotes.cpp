// Release notes HTML from an appcast or a notes page, reduced to the rich
// text the update offer shows. The output must hold no markup but the kept
// tags, and an href only as a quoted value without quotes or angle brackets.
#include "selfupdate/ReleaseNotes.h"

#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

// The length of the kept tag at the start of `rest` (which begins with
// '<'), or 0 when it is not one.
qsizetype keptTag(QStringView rest)
{
    static const QStringList plain{
        QStringLiteral("p"),  QStringLiteral("br"), QStringLiteral("ul"),     QStringLiteral("ol"),
        QStringLiteral("li"), QStringLiteral("b"),  QStringLiteral("strong"), QStringLiteral("i"),
        QStringLiteral("em"), QStringLiteral("h1"), QStringLiteral("h2"),     QStringLiteral("h3"),
        QStringLiteral("h4")};
    const qsizetype close = rest.indexOf(u'>');
    if (close < 0)
        return 0;
    QStringView inner = rest.mid(1, close - 1);
    if (inner == u"/a")
        return close + 1;
    constexpr QStringView anchor = u"a href=\"";
    if (inner.startsWith(anchor) && inner.endsWith(u'"') && inner.size() > anchor.size()) {
        const QStringView href = inner.mid(anchor.size(), inner.size() - anchor.size() - 1);
        return href.contains(u'"') || href.contains(u'<') ? 0 : close + 1;
    }
    if (inner.startsWith(u'/'))
        inner = inner.mid(1);
    return plain.contains(inner) ? close + 1 : 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString html = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString out = releasenotes::sanitize(html);
    for (qsizetype i = 0; i < out.size(); ++i) {
        if (out.at(i) == u'>')
            std::abort(); // a '>' outside a kept tag
        if (out.at(i) != u'<')
            continue;
        const qsizetype length = keptTag(QStringView(out).mid(i));
        if (length == 0)
            std::abort();
        i += length - 1;
    }
    return 0;
}
