// SPDX-License-Identifier: Apache-2.0
// Memory for page-sized buffers: the raster page, the pipeline's images and
// its result block.
//
// A block is address space on a 2 MiB boundary whose whole 2 MiB pages are
// advised to use huge pages, so that writing a fresh block costs one page
// fault per 2 MiB instead of one per 4 KiB; memory is committed only as the
// block is written. The block released last is kept for the next request it
// can serve (one of at least a quarter of its size): the next image of a
// page, or the next page, then reuses memory that is already committed (no
// faults, no zeroing by the system) instead of growing; the block kept before
// goes back to the system.
#pragma once

#include <cstddef>
#include <cstdint>

// Requests from this size up are worth a block of their own; smaller ones
// are better served by malloc.
constexpr size_t kPageMemoryMinimum = size_t(2) << 20;

// A block of at least `bytes` bytes, or nullptr when the address space cannot
// be had. With `zeroed` every byte reads 0, otherwise the contents are
// undefined. `written` is how much of its start the caller expects to write
// (all of it by default): only that part is given huge pages, so that a
// block mostly left untouched commits no more than is written.
void* pageMemoryAcquire(size_t bytes, bool zeroed, size_t written = SIZE_MAX);

// Gives back a block of pageMemoryAcquire; nullptr is ignored.
void pageMemoryRelease(void* block);

// Gives the memory of the block's first `bytes` bytes back to the system, as
// far as it fills whole 2 MiB pages; they read as zeros when touched again.
void pageMemoryDiscard(void* block, size_t bytes);

// Gives back the memory from the 2 MiB page boundary at or below `from` up
// to `to`; it reads as zeros when touched again.
void pageMemoryDiscardFrom(void* block, size_t from, size_t to);

// Releases a block of pageMemoryAcquire, for owning pointers.
struct PageMemoryRelease {
    void operator()(void* block) const { pageMemoryRelease(block); }
};
