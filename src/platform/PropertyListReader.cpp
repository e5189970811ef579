#include "PropertyListReader.h"

#include "BinaryPropertyList.h"
#include "PropertyListLimits.h"
#include "RegularFile.h"
#include "XmlPropertyList.h"

namespace platform {

std::optional<QString> PropertyListFileReader::readString(const QByteArray &path, QLatin1StringView key) const
{
    const auto bytes = readRegularFile(path.constData(), plistlimits::MaximumFileSize);
    if (!bytes)
        return std::nullopt;
    return stringInBytes(*bytes, key);
}

std::optional<QString> PropertyListFileReader::stringInBytes(QByteArrayView bytes, QLatin1StringView key)
{
    if (bytes.isEmpty() || bytes.size() > plistlimits::MaximumFileSize)
        return std::nullopt;
    return binaryplist::isBinary(bytes) ? binaryplist::rootString(bytes, key) : xmlplist::rootString(bytes, key);
}

} // namespace platform
