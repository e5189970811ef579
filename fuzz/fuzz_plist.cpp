// Bundles' information files, XML or binary ("bplist00"), read for the
// installed version.
#include "platform/PropertyListReader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    platform::LibPlistReader::stringInBytes(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)),
                                            "CFBundleShortVersionString");
    return 0;
}
