#pragma once

#include <QtGlobal>

namespace platform::plistlimits {

// Information files are a few kilobytes; anything larger is not one.
constexpr qint64 MaximumFileSize = 1024 * 1024;
// Far beyond any bundle's information file, far below what a recursive
// parser or a whole tree in memory could take.
constexpr int MaximumDepth = 128;
// Binary lists can share objects, so they can expand to far more nodes
// than the file holds.
constexpr qint64 MaximumNodes = 100'000;

} // namespace platform::plistlimits
