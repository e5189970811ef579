#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Small file helpers for tests that inspect what the hub wrote.
namespace testfiles {

// The whole file, or nothing when it cannot be read.
QByteArray read(const QString &path);
// Creates the folders on the way; false when the file could not be written.
[[nodiscard]] bool write(const QString &path, const QByteArray &bytes);
// Everything in the sandbox's Downloads folder, hidden files included, by name.
QStringList downloadsListing();

} // namespace testfiles
