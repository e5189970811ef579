#pragma once

#include <QByteArrayView>
#include <QLatin1StringView>
#include <QString>

#include <optional>

namespace platform::xmlplist {

// The string under `key` in the dictionary at the root of an XML property
// list, read in one pass without building the document: its text as
// written (references resolved, comments dropped, CDATA kept, line ends
// untouched), the last of equal keys counting.
//
// No value unless the whole document is a well-formed property list as
// bundles carry it: an optional XML declaration (version 1.0; a declared
// encoding is not applied, the bytes are read as UTF-8), comments, an
// optional DOCTYPE without an internal subset, then <plist> with one value
// built of the property-list elements, nesting at most
// plistlimits::MaximumDepth elements. Refused besides: processing
// instructions, attributes anywhere but on <plist>, text between elements,
// characters XML forbids (controls, U+FFFE, U+FFFF), references other than
// the five named ones and character references of up to eight characters,
// "]]>" outside CDATA, "--" inside comments, a key without a value.
// Linear in the size, without recursion.
std::optional<QString> rootString(QByteArrayView bytes, QLatin1StringView key);

} // namespace platform::xmlplist
