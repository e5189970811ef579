#include "NotesExcerpt.h"

#include <QRegularExpression>

namespace notes {

QString excerpt(const QString &releaseNotes)
{
    QString text = releaseNotes;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    for (QChar &c : text) {
        if (c != u'\n' && (c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line
                           || c.category() == QChar::Separator_Paragraph))
            c = u' ';
    }
    static const QRegularExpression blankLines(QStringLiteral("\\n[ \\t]*(\\n[ \\t]*)+"));
    text.replace(blankLines, QStringLiteral("\n\n"));
    text = text.trimmed();
    if (text.size() <= ExcerptLength)
        return text;

    // At the last space or line break in the final quarter; mid-word only
    // when a word runs longer than that.
    qsizetype cut = ExcerptLength;
    for (qsizetype i = ExcerptLength; i > ExcerptLength * 3 / 4; --i) {
        if (text[i].isSpace()) {
            cut = i;
            break;
        }
    }
    if (cut == ExcerptLength && text[cut - 1].isHighSurrogate())
        --cut;
    return text.left(cut).trimmed() + QChar(0x2026);
}

} // namespace notes
