// A VST3 bundle's moduleinfo.json as it lies on disk: relaxed JSON turned
// strict, then the one string the probe reads.
#include "platform/Json5.h"
#include "platform/PluginMetadata.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    platform::Json5ModuleInfoReader::versionInBytes(bytes);
    // Turning relaxed JSON strict never adds text.
    if (const auto strict = platform::json5::toStrictJson(bytes); strict && strict->size() > bytes.size())
        std::abort();
    return 0;
}
