#include "FileStatus.h"

#include <sys/stat.h>

namespace platform {

FileStatus FileStatus::of(const char *path)
{
    struct stat status {};
    if (::stat(path, &status) != 0)
        return {};
    return {status.st_mode & S_IFMT, qint64(status.st_size), qint64(status.st_mtim.tv_sec),
            qint64(status.st_mtim.tv_nsec), qint64(status.st_ino)};
}

} // namespace platform
