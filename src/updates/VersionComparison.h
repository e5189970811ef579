#pragma once

#include <QList>
#include <QStringView>

namespace versions {

// The numeric components of a version text. Pieces between dots that are not
// a plain signed decimal fitting 64 bits are dropped, and later ones move up.
QList<qint64> components(QStringView text);

// True exactly when `candidate` is strictly newer than `reference`;
// missing trailing components count as 0.
bool isNewer(QStringView candidate, QStringView reference);

} // namespace versions
