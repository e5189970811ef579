// The hub's own release feed (RSS with the update namespace), then the
// choice of the newest release in it.
#include "selfupdate/Appcast.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QString error;
    const auto appcast = Appcast::parse(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)), &error);
    if (!appcast) {
        if (error.isEmpty())
            std::abort(); // a refusal always says why
        return 0;
    }
    if (const auto item = appcast->newestNewerThan(QStringLiteral("1.0.0")))
        item->isCriticalFor(QStringLiteral("1.0.0"));
    return 0;
}
