#include "Console.h"

namespace cli {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

QString oneLine(const QString &text)
{
    QString line;
    line.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == u'\\')
            line += QStringLiteral("\\\\");
        else if (u == u'\n')
            line += QStringLiteral("\\n");
        else if (u == u'\t')
            line += QStringLiteral("\\t");
        else if (u == u'\r')
            line += QStringLiteral("\\r");
        else if (u < 0x20 || u == 0x7F || (u >= 0x80 && u < 0xA0))
            line += QStringLiteral("\\x%1").arg(u, 2, 16, QLatin1Char('0'));
        else
            line += c;
    }
    return line;
}

void complain(const QString &message)
{
    err() << "quillmarsh-hub: " << oneLine(message) << Qt::endl;
}

} // namespace cli
