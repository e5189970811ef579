#pragma once

#include <QByteArray>
#include <QString>

namespace platform {

enum class XmlShape { Fine, TooDeep, Malformed };

// Checks, without recursion, that `xml` is well-formed and its elements
// nest at most `maximumDepth` levels, before a parser that may recurse or
// hold the whole tree is given it.
XmlShape xmlShape(const QByteArray &xml, int maximumDepth);

} // namespace platform
