#pragma once

#include "TestSandbox.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

// Small file helpers for tests that inspect what the hub wrote.
namespace testfiles {

// The whole file, or nothing when it cannot be read.
inline QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Creates the folders on the way; false when the file could not be written.
[[nodiscard]] inline bool write(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

// Everything in the sandbox's Downloads folder, hidden files included, by name.
inline QStringList downloadsListing()
{
    return QDir(TestSandbox::current().downloads()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace testfiles
