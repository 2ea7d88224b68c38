// SPDX-License-Identifier: Apache-2.0
#include "PageBuffer.h"

#include <sys/mman.h>

#include <cstdint>

namespace {

constexpr size_t kHugePage = size_t(2) << 20;

}  // namespace

PageBuffer::~PageBuffer()
{
    release();
}

bool PageBuffer::reserve(size_t bytes)
{
    if (bytes <= capacity_ && data_ != nullptr) {
        return true;
    }
    release();
    // A block of whole huge pages starting on a huge page boundary: map one
    // huge page more than needed and give back what lies outside.
    const size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    void* mapped =
        mmap(nullptr, rounded + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) {
        return false;
    }
    auto* start = static_cast<unsigned char*>(mapped);
    auto* aligned =
        reinterpret_cast<unsigned char*>((reinterpret_cast<uintptr_t>(start) + kHugePage - 1) & ~(kHugePage - 1));
    if (aligned > start) {
        munmap(start, static_cast<size_t>(aligned - start));
    }
    munmap(aligned + rounded, kHugePage - static_cast<size_t>(aligned - start));
    madvise(aligned, rounded, MADV_HUGEPAGE);
    data_ = aligned;
    capacity_ = rounded;
    return true;
}

void PageBuffer::release()
{
    if (data_ != nullptr) {
        munmap(data_, capacity_);
    }
    data_ = nullptr;
    capacity_ = 0;
}
