#pragma once

#include <QByteArrayView>
#include <QtGlobal>

#include <optional>

namespace platform {

// The part of a body a 206 answer carries: bytes `first` to `last`
// inclusive of a body of `complete` bytes (-1 when the server wrote "*").
struct ContentRange
{
    qint64 first = 0;
    qint64 last = 0;
    qint64 complete = -1;

    qint64 length() const { return last - first + 1; }
};

// "bytes 100-199/1000" or "bytes 100-199/*"; nothing for any other form,
// for numbers past 64 bits and for a range that does not fit its body.
std::optional<ContentRange> parseContentRange(QByteArrayView header);

} // namespace platform
