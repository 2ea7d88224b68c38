// SPDX-License-Identifier: Apache-2.0
#include "GeometryLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace {

// The file opened for writing and emptied, or -1 when it is not ours to
// write: a link, something other than a regular file (opening does not
// block on a FIFO), or a file of another user.
int openOwnLog(const std::string& path)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) {
        return -1;
    }
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != geteuid() || ftruncate(fd, 0) != 0) {
        close(fd);
        return -1;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

}  // namespace

void writeGeometryLog(const std::string& path, const cups_page_header2_t& header)
{
    const int fd = openOwnLog(path);
    if (fd < 0) {
        return;
    }
    FILE* log = fdopen(fd, "w");
    if (log == nullptr) {
        close(fd);
        return;
    }
    fprintf(log, "cupsWidth:%d, cupsHeight:%d, cupsBytesPerLine:%d, cupsBitsPerPixel:%d\n", header.cupsWidth,
            header.cupsHeight, header.cupsBytesPerLine, header.cupsBitsPerPixel);
    fclose(log);
}
