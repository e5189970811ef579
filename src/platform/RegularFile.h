#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace platform {

// The whole content of a regular file of at most `limit` bytes. A FIFO, a
// device, a folder, a missing or unreadable file, or one larger than the
// limit gives no value, with the reason in `why`. Never blocks on a special
// file and never holds more than `limit` + 1 bytes.
std::optional<QByteArray> readRegularFile(const QString &path, qint64 limit, QString *why = nullptr);
// The same for a path already in the file system's encoding.
std::optional<QByteArray> readRegularFile(const char *path, qint64 limit, QString *why = nullptr);

} // namespace platform
