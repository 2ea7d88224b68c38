// SPDX-License-Identifier: Apache-2.0
// The buffer a raster page is read into. Address space for the whole page is
// reserved up front, but memory is committed only as rows are written into
// it, so a page header's promise costs nothing until its data arrives. The
// block is page memory (common/PageMemory.h): huge pages where the kernel
// offers them, and given back as the pipeline takes the page's rows over.
#pragma once

#include <cstddef>

class PageBuffer {
public:
    PageBuffer() = default;
    ~PageBuffer();
    PageBuffer(const PageBuffer&) = delete;
    PageBuffer& operator=(const PageBuffer&) = delete;

    // Makes room for a page of that many bytes; false when the address space
    // cannot be had. The contents are undefined until written.
    bool reserve(size_t bytes);
    unsigned char* data() const { return data_; }
    // The first `bytes` bytes are read no more: their memory goes back to
    // the system, and the whole block once every byte is taken.
    void takenOver(size_t bytes);

private:
    void release();

    unsigned char* data_ = nullptr;
    size_t size_ = 0;
};
