// SPDX-License-Identifier: Apache-2.0
// Page captures are written for diagnosis and seldom read again, and the two
// captures of an A4 page at 300 dpi take 17 MB: a long job must not fill the
// page cache with them, and the memory they would take is slow to come by on
// a small or virtual machine. So the captures of the last page stay open;
// when the next page starts they are handed to the disk, and those of the
// page before, as far as they are written out by then, leave the page cache.
// Nothing waits for the disk, and a one-page job pays nothing for this.
#pragma once

#include <vector>

class CaptureWriteback {
public:
    CaptureWriteback() = default;
    ~CaptureWriteback();
    CaptureWriteback(const CaptureWriteback&) = delete;
    CaptureWriteback& operator=(const CaptureWriteback&) = delete;

    // Takes over a capture file that has been written in full.
    void keep(int fd);
    // A new page starts.
    void nextPage();

private:
    std::vector<int> lastPage_;
    std::vector<int> pageBefore_;
};

// The captures of this process.
CaptureWriteback& captureWriteback();
