#pragma once

#include <QByteArray>

namespace platform::plistshape {

// Far beyond any bundle's information file, far below what the parser's
// recursion and memory can take.
constexpr int MaximumDepth = 128;
constexpr qint64 MaximumNodes = 100'000;

bool isBinary(const QByteArray &bytes);

// Whether a property list may be handed to the parser: an XML list must be
// well-formed and nest at most MaximumDepth levels; a binary list, whose
// objects can be shared and so expand to far more nodes than the file
// holds, must also be sound in its offsets, contain no object inside
// itself and expand to at most MaximumNodes nodes. Linear in the size.
bool isWithinLimits(const QByteArray &bytes);

} // namespace platform::plistshape
