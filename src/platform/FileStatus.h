#pragma once

#include <QtGlobal>

#include <sys/types.h>

namespace platform {

// What stat() says of a path, following symbolic links, as far as the hub
// looks: the type, and what tells one state of a file from another.
struct FileStatus
{
    mode_t type = 0; // the S_IFMT bits; 0 when nothing is there
    qint64 size = 0;
    qint64 modifiedSeconds = 0;
    qint64 modifiedNanoseconds = 0;
    qint64 inode = 0;

    static FileStatus of(const char *path);
    bool exists() const { return type != 0; }
};

} // namespace platform
