#pragma once

#include <QByteArrayView>
#include <QLatin1StringView>
#include <QString>

#include <optional>

namespace platform::relaxedjson {

// The string under `key` (ASCII) in the object at the top of a JSON
// document as plug-in SDKs write it: comments (// and /* */) count as
// white space, and a comma with only white space before a closing bracket
// is left out. Read in one pass without building the document; of equal
// keys the last counts, after escapes are resolved.
//
// No value unless the whole document is well-formed: an unclosed comment
// or string, an unknown escape, an unpaired \u surrogate, invalid UTF-8,
// control characters in strings, numbers outside strict JSON (or longer
// than 24 characters, or with an exponent beyond 99), nesting deeper than
// 1,024 arrays and objects, or anything after the top value refuse it. So
// does a top value that is not an object, or a value under `key` that is
// not a string. Linear in the size, without recursion.
std::optional<QString> topLevelString(QByteArrayView json, QLatin1StringView key);

} // namespace platform::relaxedjson
