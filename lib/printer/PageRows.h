// SPDX-License-Identifier: Apache-2.0
// The memory a page's rows were read into, as the page pipeline may use it:
// the pipeline takes the whole block over as its page image when the rows are
// laid out as one, and otherwise says how far it has copied them, so that the
// owner can give that memory back as the copy goes.
#pragma once

#include <cstddef>

class PageRows {
public:
    virtual ~PageRows() = default;
    // The block of page memory (common/PageMemory.h) whose rows start at
    // DibImage::kGrayRowsOffset, handed over for good; nullptr when it cannot
    // be. Once handed over, the rows are the taker's.
    virtual void* handOverBlock() = 0;
    // The first `bytes` bytes of the rows are read no more.
    virtual void copiedUpTo(size_t bytes) = 0;
};
