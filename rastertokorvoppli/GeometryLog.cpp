// SPDX-License-Identifier: Apache-2.0
#include "GeometryLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace {

// The file opened for writing, or -1 when it is not ours to write: a link,
// something other than a regular file (opening does not block on a FIFO),
// or a file of another user.
int openOwnLog(const std::string& path)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) {
        return -1;
    }
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != geteuid()) {
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
    char line[160];
    const int length =
        snprintf(line, sizeof(line), "cupsWidth:%d, cupsHeight:%d, cupsBytesPerLine:%d, cupsBitsPerPixel:%d\n",
                 header.cupsWidth, header.cupsHeight, header.cupsBytesPerLine, header.cupsBitsPerPixel);
    // The line is written over the old content and the file cut after it.
    // Emptying the file first would hand its block back to the file system
    // on every page, and on a disk mounted with online discard that waits
    // for the disk. The log is for diagnosis only: failures are ignored.
    const ssize_t written = length > 0 ? pwrite(fd, line, static_cast<size_t>(length), 0) : -1;
    const bool cut = written >= 0 && ftruncate(fd, written) == 0;
    static_cast<void>(cut);
    close(fd);
}
