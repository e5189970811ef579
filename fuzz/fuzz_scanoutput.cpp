// What the plug-in scanner prints, as the hub reads it back.
#include "platform/PluginScanner.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    platform::scanoutput::firstVersion(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    return 0;
}
