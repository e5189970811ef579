#pragma once

#include <QString>
#include <QStringView>

namespace releasenotes {

// Release notes HTML reduced to what the offer shows as rich text: p, br,
// ul, ol, li, b, strong, i, em, h1 to h4, and a with an http(s) href. Other
// tags are dropped and their text kept, except script, style and similar
// elements, which go with their content; no other attribute survives, so
// images, styles and event handlers are gone.
QString sanitize(QStringView html);

} // namespace releasenotes
