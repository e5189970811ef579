// The published-versions feed as the web service hands it over.
#include "updates/PluginVersionInfo.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    PluginVersionInfo::decodeFeed(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    return 0;
}
