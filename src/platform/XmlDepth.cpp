#include "XmlDepth.h"

#include <QXmlStreamReader>

namespace platform {
namespace {

XmlShape shapeOf(QXmlStreamReader &reader, int maximumDepth)
{
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement:
            if (++depth > maximumDepth)
                return XmlShape::TooDeep;
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    return reader.hasError() ? XmlShape::Malformed : XmlShape::Fine;
}

} // namespace

XmlShape xmlShape(const QByteArray &xml, int maximumDepth)
{
    QXmlStreamReader reader(xml);
    return shapeOf(reader, maximumDepth);
}

XmlShape xmlShape(const QString &xml, int maximumDepth)
{
    QXmlStreamReader reader(xml);
    return shapeOf(reader, maximumDepth);
}

} // namespace platform
