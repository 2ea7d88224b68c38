// SPDX-License-Identifier: Apache-2.0
#include "PageBuffer.h"

#include "common/PageMemory.h"
#include "dibimage/DibImage.h"

PageBuffer::~PageBuffer()
{
    release();
}

bool PageBuffer::reserve(size_t bytes)
{
    if (bytes <= size_ && block_ != nullptr) {
        return true;
    }
    release();
    const size_t offset = DibImage::kGrayRowsOffset;
    block_ = bytes + offset > bytes ? static_cast<unsigned char*>(pageMemoryAcquire(bytes + offset, false)) : nullptr;
    data_ = block_ != nullptr ? block_ + offset : nullptr;
    size_ = block_ != nullptr ? bytes : 0;
    return block_ != nullptr;
}

void* PageBuffer::handOverBlock()
{
    void* block = block_;
    block_ = nullptr;
    data_ = nullptr;
    size_ = 0;
    return block;
}

void PageBuffer::copiedUpTo(size_t bytes)
{
    if (bytes >= size_) {
        release();
    } else {
        pageMemoryDiscard(block_, DibImage::kGrayRowsOffset + bytes);
    }
}

void PageBuffer::release()
{
    pageMemoryRelease(block_);
    block_ = nullptr;
    data_ = nullptr;
    size_ = 0;
}
