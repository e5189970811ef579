#include "XmlDepth.h"

#include <QXmlStreamReader>

namespace platform {

XmlShape xmlShape(const QByteArray &xml, int maximumDepth)
{
    QXmlStreamReader reader(xml);
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

} // namespace platform
