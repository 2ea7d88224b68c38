// SPDX-License-Identifier: Apache-2.0
// Draws the printed pages of a job into its directory as page-N.png (N
// from 1), as korvo-decode --png draws them. Finished pages wait in a queue
// so that the printer can answer the filter first and draw when idle.
#pragma once

#include <deque>

#include "korvostream/PageSplitter.h"
#include "korvostream/Resolution.h"
#include "virtualprinter/JobDirectory.h"

namespace virtualprinter {

class PreviewWriter {
public:
    explicit PreviewWriter(const JobDirectory& directory);

    void add(korvostream::PageItems page);
    bool pending() const { return !pending_.empty(); }
    // Draws the oldest waiting page, or says on standard error that it is
    // too large to draw; throws std::runtime_error when its file cannot be
    // written.
    void writeNext(const korvostream::Resolution& resolution);
    size_t written() const { return written_; }

private:
    const JobDirectory& directory_;
    std::deque<korvostream::PageItems> pending_;
    size_t written_ = 0;
};

}  // namespace virtualprinter
