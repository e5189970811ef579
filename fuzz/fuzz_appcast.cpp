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
    const QString running = QStringLiteral("1.0.0");
    // A fixed clock keeps every run reproducible; an automatic check walks
    // every rule (channels, phasing, minimum versions).
    const OfferRules automatic{{}, true, QDateTime(QDate(2026, 11, 23), QTime(14, 5), Qt::UTC), 3};
    if (const auto item = appcast->offerFor(running, automatic))
        item->isCriticalFor(running);
    return 0;
}
