// SPDX-License-Identifier: Apache-2.0
// DibImage::IncreaseBpp: widening to 4, 8 or 24 bits per pixel. Paletted
// results keep every index and the palette; 24-bit results hold each pixel's
// palette colour.

#include "dibimage/DibImage.h"

#include <cstring>

#include "PixelRows.h"

using dibimage_detail::rowGetIndex;
using dibimage_detail::rowSetIndex;

namespace {

// 1 bit -> 8 bits: the 8 pixels of a packed byte as 8 index bytes (0 or 1),
// most significant bit first.
struct BitsToBytes {
    uint8_t v[256][8];
    BitsToBytes()
    {
        for (unsigned b = 0; b < 256; ++b) {
            for (unsigned i = 0; i < 8; ++i) {
                v[b][i] = static_cast<uint8_t>((b >> (7 - i)) & 1);
            }
        }
    }
};

// 1 bit -> 4 bits: the 8 pixels of a packed byte as 4 bytes of two nibbles.
struct BitsToNibbles {
    uint8_t v[256][4];
    BitsToNibbles()
    {
        for (unsigned b = 0; b < 256; ++b) {
            for (unsigned i = 0; i < 4; ++i) {
                const unsigned hi = (b >> (7 - 2 * i)) & 1;
                const unsigned lo = (b >> (6 - 2 * i)) & 1;
                v[b][i] = static_cast<uint8_t>((hi << 4) | lo);
            }
        }
    }
};

void widen1To8(const uint8_t* src, uint8_t* dst, uint32_t w)
{
    static const BitsToBytes table;
    const uint32_t full = w / 8;
    for (uint32_t i = 0; i < full; ++i) {
        std::memcpy(dst + 8 * static_cast<size_t>(i), table.v[src[i]], 8);
    }
    if (w % 8) {
        std::memcpy(dst + 8 * static_cast<size_t>(full), table.v[src[full]], w % 8);
    }
}

void widen1To4(const uint8_t* src, uint8_t* dst, uint32_t w)
{
    static const BitsToNibbles table;
    const uint32_t full = w / 8;
    for (uint32_t i = 0; i < full; ++i) {
        std::memcpy(dst + 4 * static_cast<size_t>(i), table.v[src[i]], 4);
    }
    for (uint32_t x = full * 8; x < w; ++x) {
        rowSetIndex(dst, x, 4, rowGetIndex(src, x, 1));
    }
}

void widen4To8(const uint8_t* src, uint8_t* dst, uint32_t w)
{
    for (uint32_t x = 0; x + 1 < w; x += 2) {
        const uint8_t b = src[x / 2];
        dst[x] = b >> 4;
        dst[x + 1] = b & 0x0F;
    }
    if (w & 1) {
        dst[w - 1] = src[w / 2] >> 4;
    }
}

}  // namespace

bool DibImage::IncreaseBpp(uint32_t bitCount)
{
    if (!block_) {
        return false;
    }
    const unsigned bpp = head_.biBitCount;
    if (bitCount != 4 && bitCount != 8 && bitCount != 24) {
        return false;
    }
    if (bpp == bitCount) {
        return true;
    }
    if (bpp > bitCount) {
        return false;
    }

    const uint32_t w = GetWidth();
    const uint32_t h = GetHeight();

    DibImage tmp;
    if (!createReplacement(tmp, w, h, bitCount)) {
        setLastError(tmp.GetLastError());
        return false;
    }

    const size_t srcStride = info_.effWidth;
    const size_t dstStride = tmp.info_.effWidth;
    if (bitCount == 24) {
        // Colours come from the palette (a 24-bit source never gets here).
        const RGBQUAD* pal = GetPalette();
        for (uint32_t y = 0; y < h; ++y) {
            const uint8_t* src = info_.imageBits + y * srcStride;
            uint8_t* dst = tmp.info_.imageBits + y * dstStride;
            for (uint32_t x = 0; x < w; ++x, dst += 3) {
                const RGBQUAD c = pal[rowGetIndex(src, x, bpp)];
                dst[0] = c.rgbBlue;
                dst[1] = c.rgbGreen;
                dst[2] = c.rgbRed;
            }
        }
    } else {
        for (uint32_t y = 0; y < h; ++y) {
            const uint8_t* src = info_.imageBits + y * srcStride;
            uint8_t* dst = tmp.info_.imageBits + y * dstStride;
            if (bpp == 1 && bitCount == 8) {
                widen1To8(src, dst, w);
            } else if (bpp == 1) {
                widen1To4(src, dst, w);
            } else {
                widen4To8(src, dst, w);
            }
        }
    }

    Transfer(tmp);
    return true;
}
