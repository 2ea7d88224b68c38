// SPDX-License-Identifier: Apache-2.0
#include "common/PageMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

constexpr size_t kHugePage = size_t(2) << 20;

struct Block {
    unsigned char* data = nullptr;
    size_t capacity = 0;
};

// Blocks handed out, and the address space kept for reuse.
struct Pool {
    std::mutex lock;
    std::vector<Block> live;
    Block kept;
};

Pool& pool()
{
    static Pool instance;
    return instance;
}

// Fits a block to the `written` bytes at its start: only the whole huge
// pages within them take huge pages, so that a partly written last one does
// not commit 2 MiB, and memory past them goes back to the system.
void fitBlock(const Block& block, size_t written)
{
    const size_t whole = written / kHugePage * kHugePage;
    const size_t touched = (written + kHugePage - 1) / kHugePage * kHugePage;
    if (whole > 0) {
        madvise(block.data, whole, MADV_HUGEPAGE);
    }
    if (whole < block.capacity) {
        madvise(block.data + whole, block.capacity - whole, MADV_NOHUGEPAGE);
    }
    if (touched < block.capacity) {
        madvise(block.data + touched, block.capacity - touched, MADV_DONTNEED);
    }
}

// A block on a huge page boundary: one huge page more than needed is mapped
// and what lies outside the aligned block given back.
Block mapBlock(size_t bytes, size_t written)
{
    const size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    if (rounded < bytes) {
        return {};
    }
    void* mapped =
        mmap(nullptr, rounded + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) {
        return {};
    }
    auto* start = static_cast<unsigned char*>(mapped);
    auto* aligned =
        reinterpret_cast<unsigned char*>((reinterpret_cast<uintptr_t>(start) + kHugePage - 1) & ~(kHugePage - 1));
    if (aligned > start) {
        munmap(start, static_cast<size_t>(aligned - start));
    }
    munmap(aligned + rounded, kHugePage - static_cast<size_t>(aligned - start));
    const Block block{aligned, rounded};
    fitBlock(block, written);
    return block;
}

void unmapBlock(Block& block)
{
    if (block.data != nullptr) {
        munmap(block.data, block.capacity);
    }
    block = {};
}

}  // namespace

void* pageMemoryAcquire(size_t bytes, bool zeroed, size_t written)
{
    written = zeroed ? bytes : std::min(bytes, written);
    Pool& p = pool();
    std::lock_guard<std::mutex> guard(p.lock);
    Block block;
    if (p.kept.capacity >= bytes && p.kept.capacity / 4 <= bytes) {
        block = p.kept;
        p.kept = {};
        fitBlock(block, written);
        if (zeroed) {
            memset(block.data, 0, bytes);
        }
    } else {
        // A kept block too small for this request is memory no one can use;
        // one far larger stays for a request of its size.
        if (p.kept.capacity < bytes) {
            unmapBlock(p.kept);
        }
        block = mapBlock(bytes, written);
        if (block.data == nullptr) {
            return nullptr;
        }
    }
    p.live.push_back(block);
    return block.data;
}

void pageMemoryRelease(void* data)
{
    if (data == nullptr) {
        return;
    }
    Pool& p = pool();
    std::lock_guard<std::mutex> guard(p.lock);
    for (size_t i = 0; i < p.live.size(); ++i) {
        if (p.live[i].data != data) {
            continue;
        }
        Block block = p.live[i];
        p.live.erase(p.live.begin() + static_cast<long>(i));
        unmapBlock(p.kept);
        p.kept = block;
        return;
    }
}

void pageMemoryDiscard(void* data, size_t bytes)
{
    const size_t whole = bytes / kHugePage * kHugePage;
    if (data != nullptr && whole > 0) {
        madvise(data, whole, MADV_DONTNEED);
    }
}

void pageMemoryDiscardFrom(void* data, size_t from, size_t to)
{
    const size_t start = from / kHugePage * kHugePage;
    if (data != nullptr && to > start) {
        madvise(static_cast<unsigned char*>(data) + start, to - start, MADV_DONTNEED);
    }
}
