// SPDX-License-Identifier: Apache-2.0
// Splits a stream into the printed pages: the filter starts every page
// with a run of NUL bytes, and whatever follows up to the next run (the
// page's blocks, and after the last page the job's end with an after-job
// cut) belongs to that page. A piece that neither prints nor moves the
// paper, such as a page the filter gave up on, is no printed page.
#pragma once

#include <optional>
#include <vector>

#include "korvostream/KorvoStream.h"

namespace korvostream {

using PageItems = std::vector<Item>;

class PageSplitter {
public:
    // Takes the next item; gives the finished page when the item starts the
    // next one.
    std::optional<PageItems> add(Item item);
    // The end of the stream: gives the last page.
    std::optional<PageItems> finish();

private:
    std::optional<PageItems> takeCurrent();

    PageItems current_;
};

std::vector<PageItems> splitPages(const std::vector<Item>& items);

}  // namespace korvostream
