// SPDX-License-Identifier: Apache-2.0
#include "pipeline/CaptureWriteback.h"

#include <fcntl.h>
#include <unistd.h>

CaptureWriteback::~CaptureWriteback()
{
    for (const std::vector<int>* page : {&pageBefore_, &lastPage_}) {
        for (const int fd : *page) {
            close(fd);
        }
    }
}

void CaptureWriteback::keep(int fd)
{
    lastPage_.push_back(fd);
}

void CaptureWriteback::nextPage()
{
    // What of the page before is on disk by now leaves the cache; the rest
    // stays until the system needs the memory. Nothing waits for the disk.
    for (const int fd : pageBefore_) {
        posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        close(fd);
    }
    // The last page's captures go to the disk while this page is processed.
    for (const int fd : lastPage_) {
        sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE);
    }
    pageBefore_.swap(lastPage_);
    lastPage_.clear();
}

CaptureWriteback& captureWriteback()
{
    static CaptureWriteback captures;
    return captures;
}
