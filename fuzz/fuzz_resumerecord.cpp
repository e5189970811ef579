// The record a broken-off download leaves beside its partial file: read
// back from the Downloads folder, where anything may have replaced it.
#include "platform/ResumeRecord.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto record = platform::ResumeRecord::decode(bytes);
    if (!record)
        return 0;
    // A validator read back goes into a request header: never a line break.
    if (record->validator.contains('\r') || record->validator.contains('\n'))
        std::abort();
    // What is accepted is exactly what encode() writes.
    if (record->encode() != bytes)
        std::abort();
    return 0;
}
