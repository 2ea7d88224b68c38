// SPDX-License-Identifier: Apache-2.0
#include "halv/HalvImage.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

int halvChannelsOf(HALV_IMG_COLOR color)
{
    switch (static_cast<int32_t>(color)) {
    case HALV_IMG_GRAY:
        return 1;
    case HALV_IMG_BGR:
    case HALV_IMG_RGB:
        return 3;
    default:
        return 4;
    }
}

namespace {

// The buffer size of width * height * channels, formed in 64 bits. A negative
// (or unrepresentable) product asks for the largest size there is, so that the
// allocation fails with std::bad_alloc instead of handing out a short buffer.
size_t bufferSize(int32_t width, int32_t height, int32_t channels)
{
    int64_t wh = 0;
    int64_t whc = 0;
    if (__builtin_mul_overflow(static_cast<int64_t>(width), static_cast<int64_t>(height), &wh) ||
        __builtin_mul_overflow(wh, static_cast<int64_t>(channels), &whc) || whc < 0) {
        return std::numeric_limits<size_t>::max();
    }
    return static_cast<size_t>(whc);
}

unsigned char* allocate(size_t n)
{
    // `new[]` of a size beyond its limit throws std::bad_array_new_length,
    // itself a std::bad_alloc.
    return new unsigned char[n];
}

}  // namespace

HalvImage::HalvImage(int w, int h, HALV_IMG_COLOR c, unsigned char* pixels)
    : width(w), height(h), channels(halvChannelsOf(c)), color(c)
{
    size_t n = bufferSize(width, height, channels);
    data = allocate(n);
    if (n > 0) {
        std::memcpy(data, pixels, n);
    }
}

HalvImage::HalvImage(int w, int h, HALV_IMG_COLOR c) : width(w), height(h), channels(halvChannelsOf(c)), color(c)
{
    data = allocate(bufferSize(width, height, channels));
}

HalvImage::HalvImage(const HalvImage& other)
    : width(other.width), height(other.height), channels(other.channels), color(other.color)
{
    size_t n = bufferSize(width, height, channels);
    data = allocate(n);
    if (n > 0) {
        std::memcpy(data, other.data, n);
    }
}

HalvImage::HalvImage(HalvImage&& other) noexcept
    : width(other.width), height(other.height), channels(other.channels), color(other.color), data(other.data)
{
    other.width = 0;
    other.height = 0;
    other.channels = 0;
    other.data = nullptr;
}

HalvImage& HalvImage::operator=(const HalvImage& other)
{
    if (this == &other) {
        return *this;
    }
    // Allocate and copy before letting go of the old buffer, so that a failed
    // allocation leaves this image as it was.
    size_t n = bufferSize(other.width, other.height, other.channels);
    unsigned char* fresh = allocate(n);
    if (n > 0) {
        std::memcpy(fresh, other.data, n);
    }
    delete[] data;
    data = fresh;
    width = other.width;
    height = other.height;
    channels = other.channels;
    color = other.color;
    return *this;
}

HalvImage::~HalvImage()
{
    width = 0;
    height = 0;
    channels = 0;
    delete[] data;
    data = nullptr;
    // Keep the zeroing even though the object dies here, so that a stale
    // reference to a destroyed image sees no pixels rather than a freed
    // buffer. Without the barrier the stores are dead and get dropped.
#if defined(__GNUC__)
    __asm__ __volatile__("" : : "r"(this) : "memory");
#endif
}
