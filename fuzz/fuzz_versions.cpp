// Version comparison on two version texts, as the feed and installed
// bundles supply them: the input is split at its first newline.
#include "updates/VersionComparison.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const char *text = reinterpret_cast<const char *>(data);
    const auto *newline = static_cast<const char *>(std::memchr(text, '\n', size));
    const size_t split = newline ? size_t(newline - text) : size;
    const QString a = QString::fromUtf8(text, qsizetype(split));
    const QString b = newline ? QString::fromUtf8(newline + 1, qsizetype(size - split - 1)) : QString();

    if (versions::isNewer(a, a) || versions::isNewer(b, b))
        std::abort(); // newer than itself
    const bool aNewer = versions::isNewer(a, b);
    if (aNewer && versions::isNewer(b, a))
        std::abort(); // each newer than the other
    // A missing trailing component counts as 0.
    if (versions::isNewer(a + QStringLiteral(".0"), b) != aNewer)
        std::abort();
    return 0;
}
