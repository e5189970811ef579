// The Content-Range header of a server's answer to a resumed download.
#include "platform/ContentRange.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto range = platform::parseContentRange(QByteArrayView(reinterpret_cast<const char *>(data), qsizetype(size)));
    // Whatever is accepted names a non-empty part of its body.
    if (range && (range->first < 0 || range->length() <= 0 || (range->complete >= 0 && range->last >= range->complete)))
        std::abort();
    return 0;
}
