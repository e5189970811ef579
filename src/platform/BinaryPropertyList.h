#pragma once

#include <QByteArrayView>
#include <QLatin1StringView>
#include <QString>

#include <optional>

namespace platform::binaryplist {

// Whether the bytes start as a binary property list ("bplist00").
bool isBinary(QByteArrayView bytes);

// The string under `key` (ASCII) in the dictionary at the root of a
// binary property list. No value when the list is unsound anywhere its
// root reaches (an offset, length or reference outside the object area, an
// object of a kind information files never hold, a key that is not a
// string, empty UTF-16 text or unpaired surrogates, a container inside
// itself), nests deeper than plistlimits::MaximumDepth, expands to more
// than plistlimits::MaximumNodes nodes, its root is not a dictionary, or
// the value is not a string. Of equal keys the first counts; ASCII text
// ends at its first NUL, and keys are compared up to theirs, as libplist
// read them. Linear in the size, without recursion.
std::optional<QString> rootString(QByteArrayView bytes, QLatin1StringView key);

} // namespace platform::binaryplist
