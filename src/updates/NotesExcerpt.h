#pragma once

#include <QString>

namespace notes {

// Tooltips stop at about this many characters.
constexpr qsizetype ExcerptLength = 400;

// A product's release notes as a tooltip shows them: plain text (markup is
// left as it is written), control characters as spaces, at most one blank
// line in a row, trimmed, and cut at a word before ExcerptLength characters
// with an ellipsis.
QString excerpt(const QString &releaseNotes);

} // namespace notes
