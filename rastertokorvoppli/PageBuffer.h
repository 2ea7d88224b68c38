// SPDX-License-Identifier: Apache-2.0
// The buffer a raster page is read into. Address space for the whole page is
// reserved up front, but memory is committed only as rows are written into
// it, so a page header's promise costs nothing until its data arrives. The
// block is page memory (common/PageMemory.h), with room in front of the rows
// for an image header: the page pipeline takes it over as its page image when
// the rows are laid out as one, or has it given back as it copies the rows.
#pragma once

#include <cstddef>

#include "printer/PageRows.h"

class PageBuffer : public PageRows {
public:
    PageBuffer() = default;
    ~PageBuffer() override;
    PageBuffer(const PageBuffer&) = delete;
    PageBuffer& operator=(const PageBuffer&) = delete;

    // Makes room for a page of that many bytes; false when the address space
    // cannot be had. The contents are undefined until written.
    bool reserve(size_t bytes);
    unsigned char* data() const { return data_; }

    void* handOverBlock() override;
    // Gives back the memory of the rows copied so far, and the whole block
    // once every row is.
    void copiedUpTo(size_t bytes) override;

private:
    void release();

    unsigned char* block_ = nullptr;
    unsigned char* data_ = nullptr;
    size_t size_ = 0;
};
