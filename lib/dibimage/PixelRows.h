// SPDX-License-Identifier: Apache-2.0
// Raw-row helpers shared by the DibImage sources (not part of the public API).
//
// The image operations work on whole rows instead of going through the
// per-pixel accessors; these inline helpers give them the same packing rules
// (1 and 4 bit pixels from the most significant bit, high nibble first).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace dibimage_detail {

inline uint8_t rowGetIndex(const uint8_t* row, uint64_t x, unsigned bpp)
{
    switch (bpp) {
    case 8:
        return row[x];
    case 4:
        return (x & 1) ? (row[x >> 1] & 0x0F) : (row[x >> 1] >> 4);
    case 1:
        return (row[x >> 3] >> (7 - (x & 7))) & 1;
    default:
        return 0;
    }
}

inline void rowSetIndex(uint8_t* row, uint64_t x, unsigned bpp, uint8_t index)
{
    switch (bpp) {
    case 8:
        row[x] = index;
        break;
    case 4: {
        uint8_t& b = row[x >> 1];
        if (x & 1) {
            b = static_cast<uint8_t>((b & 0xF0) | (index & 0x0F));
        } else {
            b = static_cast<uint8_t>((b & 0x0F) | ((index & 0x0F) << 4));
        }
        break;
    }
    case 1: {
        const uint8_t mask = static_cast<uint8_t>(0x80u >> (x & 7));
        uint8_t& b = row[x >> 3];
        b = (index & 1) ? static_cast<uint8_t>(b | mask) : static_cast<uint8_t>(b & ~mask);
        break;
    }
    default:
        break;
    }
}

// dst[i] = src[n - 1 - i] for i in 0 .. n - 1; dst and src must not overlap.
inline void reverseBytes(uint8_t* dst, const uint8_t* src, size_t n)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t v;
        std::memcpy(&v, src + n - 8 - i, 8);
        v = __builtin_bswap64(v);
        std::memcpy(dst + i, &v, 8);
    }
    for (; i < n; ++i) {
        dst[i] = src[n - 1 - i];
    }
}

// Bits per pixel after the normalisation Create applies.
inline unsigned normaliseBpp(uint32_t bitCount)
{
    if (bitCount <= 1) {
        return 1;
    }
    if (bitCount <= 4) {
        return 4;
    }
    if (bitCount <= 8) {
        return 8;
    }
    return 24;
}

}  // namespace dibimage_detail
