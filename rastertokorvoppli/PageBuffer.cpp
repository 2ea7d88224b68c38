// SPDX-License-Identifier: Apache-2.0
#include "PageBuffer.h"

#include "common/PageMemory.h"

PageBuffer::~PageBuffer()
{
    release();
}

bool PageBuffer::reserve(size_t bytes)
{
    if (bytes <= size_ && data_ != nullptr) {
        return true;
    }
    release();
    data_ = static_cast<unsigned char*>(pageMemoryAcquire(bytes, false));
    size_ = data_ != nullptr ? bytes : 0;
    return data_ != nullptr;
}

void PageBuffer::takenOver(size_t bytes)
{
    if (bytes >= size_) {
        release();
    } else {
        pageMemoryDiscard(data_, bytes);
    }
}

void PageBuffer::release()
{
    pageMemoryRelease(data_);
    data_ = nullptr;
    size_ = 0;
}
