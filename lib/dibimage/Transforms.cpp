// SPDX-License-Identifier: Apache-2.0
// DibImage whole-image transforms: brightness/contrast table, inversion,
// rotation by 180 degrees, mirroring, enlargement with a border, centring and
// line drawing.
//
// Operations that produce a new image build it in a temporary DibImage that
// inherits this image's information block, has this image's palette, and
// finally takes this image's place through Transfer.

#include "dibimage/DibImage.h"

#include <cstring>

#include "PixelRows.h"

using dibimage_detail::reverseBytes;
using dibimage_detail::rowGetIndex;
using dibimage_detail::rowSetIndex;

namespace {

constexpr char kErrTooBig[] = "DIBIMAGE_MAX_MEMORY exceeded";

long addSaturated(long a, long b)
{
    long r;
    if (__builtin_add_overflow(a, b, &r)) {
        return a > 0 ? __LONG_MAX__ : -__LONG_MAX__ - 1;
    }
    return r;
}

}  // namespace

bool DibImage::Light(long brightness, long contrast)
{
    // Contrast scales the distance from mid-gray 128, brightness shifts the
    // result; single-precision float throughout, truncated toward zero.
    const float c = static_cast<float>(addSaturated(contrast, 100)) / 100.0f;
    const float b = static_cast<float>(addSaturated(brightness, 128));
    uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
        float f = static_cast<float>(i - 128) * c;
        f = f + b;
        f = f + 0.5f;
        // Clamp before converting so that huge settings stay defined; any
        // value in (-1, 256) truncates exactly as the int conversion would.
        int v;
        if (f >= 256.0f) {
            v = 255;
        } else if (!(f > -1.0f)) {
            v = 0;
        } else {
            v = static_cast<int>(f);
        }
        if (v > 255) {
            v = 255;
        }
        if (v < 0) {
            v = 0;
        }
        table[i] = static_cast<uint8_t>(v);
    }
    return Lut(table);
}

bool DibImage::Lut(const uint8_t* table)
{
    if (!block_ || !table) {
        return false;
    }
    const uint32_t w = GetWidth();
    const uint32_t h = GetHeight();
    const unsigned bpp = head_.biBitCount;
    const size_t stride = info_.effWidth;
    uint8_t* bits = info_.imageBits;

    if (bpp == 8) {
        for (uint32_t y = 0; y < h; ++y) {
            uint8_t* row = bits + y * stride;
            for (uint32_t x = 0; x < w; ++x) {
                row[x] = table[row[x]];
            }
        }
    } else if (bpp == 1 || bpp == 4) {
        for (uint32_t y = 0; y < h; ++y) {
            uint8_t* row = bits + y * stride;
            for (uint32_t x = 0; x < w; ++x) {
                rowSetIndex(row, x, bpp, table[rowGetIndex(row, x, bpp)]);
            }
        }
    }
    // 24 bits per pixel: there are no indices to map.
    return true;
}

void DibImage::Negative()
{
    if (!block_) {
        return;
    }
    // Every byte of the pixel data, padding included, whatever the depth.
    uint8_t* p = info_.imageBits;
    const size_t n = head_.biSizeImage;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t v;
        std::memcpy(&v, p + i, 8);
        v = ~v;
        std::memcpy(p + i, &v, 8);
    }
    for (; i < n; ++i) {
        p[i] = static_cast<uint8_t>(~p[i]);
    }
}

bool DibImage::Rotate180(DibImage* target)
{
    if (!block_) {
        return false;
    }
    const uint32_t w = GetWidth();
    const uint32_t h = GetHeight();
    const unsigned bpp = head_.biBitCount;

    // The rotated image always has one byte per pixel holding the index.
    DibImage tmp;
    if (!createReplacement(tmp, w, h, 8)) {
        return false;
    }

    const size_t srcStride = info_.effWidth;
    const size_t dstStride = tmp.info_.effWidth;
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* src = info_.imageBits + y * srcStride;
        uint8_t* dst = tmp.info_.imageBits + (h - 1 - y) * dstStride;
        if (bpp == 8) {
            reverseBytes(dst, src, w);
        } else if (bpp == 1 || bpp == 4) {
            for (uint32_t x = 0; x < w; ++x) {
                dst[w - 1 - x] = rowGetIndex(src, x, bpp);
            }
        }
        // 24 bits: no palette, so every index reads as 0 (the zeroed rows).
    }

    (target ? target : this)->Transfer(tmp);
    return true;
}

void DibImage::Mirror()
{
    if (!block_) {
        return;
    }
    const uint32_t w = GetWidth();
    const uint32_t h = GetHeight();
    const unsigned bpp = head_.biBitCount;

    DibImage tmp;
    if (!createReplacement(tmp, w, h, 8)) {
        return;
    }

    // Both images are walked with this image's row stride, and each line's
    // bytes 0 .. (w - 1) * k are reversed (k = 3 for 24 bits, else 1). For
    // 8-bit images this is an exact mirror. For other depths the bytes are
    // moved as they are (no unpacking); the strides then differ, so source
    // reads and destination writes outside the respective pixel blocks are
    // skipped.
    const size_t stride = info_.effWidth;
    const uint8_t* src = info_.imageBits;
    uint8_t* dst = tmp.info_.imageBits;
    if (bpp == 8) {
        for (uint32_t y = 0; y < h; ++y) {
            reverseBytes(dst + y * stride, src + y * stride, w);
        }
    } else {
        const size_t k = bpp == 24 ? 3 : 1;
        const size_t last = (static_cast<size_t>(w) - 1) * k;
        const size_t srcEnd = head_.biSizeImage;
        const size_t dstEnd = tmp.head_.biSizeImage;
        for (uint32_t y = 0; y < h; ++y) {
            const size_t base = y * stride;
            if (base >= dstEnd) {
                break;
            }
            for (size_t i = 0; i <= last; ++i) {
                const size_t s = base + last - i;
                const size_t d = base + i;
                if (d >= dstEnd) {
                    break;
                }
                if (s < srcEnd) {
                    dst[d] = src[s];
                }
            }
        }
    }
    Transfer(tmp);
}

bool DibImage::Expand(long left, long top, long right, long bottom, RGBQUAD canvasColour)
{
    if (!block_ || left < 0 || top < 0 || right < 0 || bottom < 0) {
        return false;
    }
    const uint32_t w = GetWidth();
    const uint32_t h = GetHeight();
    const unsigned bpp = head_.biBitCount;

    const unsigned __int128 newW =
        static_cast<unsigned __int128>(w) + static_cast<unsigned long>(left) + static_cast<unsigned long>(right);
    const unsigned __int128 newH =
        static_cast<unsigned __int128>(h) + static_cast<unsigned long>(top) + static_cast<unsigned long>(bottom);
    if (newW > UINT32_MAX || newH > UINT32_MAX) {
        setLastError(kErrTooBig);
        return false;
    }
    const uint32_t nw = static_cast<uint32_t>(newW);
    const uint32_t nh = static_cast<uint32_t>(newH);

    DibImage tmp;
    if (!createReplacement(tmp, nw, nh, bpp)) {
        setLastError(tmp.GetLastError());
        return false;
    }

    // The source lands at columns left .. left + w - 1 and at rows
    // bottom .. bottom + h - 1 (the fourth margin is at the low row numbers).
    const size_t x0 = static_cast<size_t>(left);
    const size_t y0 = static_cast<size_t>(bottom);
    const size_t srcStride = info_.effWidth;
    const size_t dstStride = tmp.info_.effWidth;
    const uint8_t* src = info_.imageBits;
    uint8_t* dst = tmp.info_.imageBits;

    switch (bpp) {
    case 1:
    case 4: {
        const uint8_t fill = tmp.GetNearestIndex(canvasColour);
        for (size_t y = 0; y < nh; ++y) {
            uint8_t* drow = dst + y * dstStride;
            const bool inRows = y >= y0 && y < y0 + h;
            const uint8_t* srow = inRows ? src + (y - y0) * srcStride : nullptr;
            for (size_t x = 0; x < nw; ++x) {
                const bool inside = inRows && x >= x0 && x < x0 + w;
                rowSetIndex(drow, x, bpp, inside ? rowGetIndex(srow, x - x0, bpp) : fill);
            }
        }
        break;
    }
    case 8: {
        const uint8_t fill = tmp.GetNearestIndex(canvasColour);
        std::memset(dst, fill, tmp.head_.biSizeImage);
        for (size_t y = 0; y < h; ++y) {
            std::memcpy(dst + (y + y0) * dstStride + x0, src + y * srcStride, w);
        }
        break;
    }
    case 24: {
        for (size_t y = 0; y < nh; ++y) {
            uint8_t* p = dst + y * dstStride;
            for (size_t x = 0; x < nw; ++x, p += 3) {
                p[0] = canvasColour.rgbBlue;
                p[1] = canvasColour.rgbGreen;
                p[2] = canvasColour.rgbRed;
            }
        }
        for (size_t y = 0; y < h; ++y) {
            std::memcpy(dst + (y + y0) * dstStride + 3 * x0, src + y * srcStride, 3 * static_cast<size_t>(w));
        }
        break;
    }
    default:
        break;
    }

    Transfer(tmp);
    return true;
}

void DibImage::MakeCenter(int32_t newWidth)
{
    if (!block_) {
        return;
    }
    const uint32_t w = GetWidth();
    const uint32_t h = GetHeight();
    if (static_cast<int64_t>(w) >= newWidth) {
        return;
    }
    const unsigned bpp = head_.biBitCount;

    DibImage tmp;
    if (!createReplacement(tmp, static_cast<uint32_t>(newWidth), h, 8)) {
        return;
    }

    // Indices are copied (a paletteless 24-bit image has only zero indices).
    const size_t off = static_cast<size_t>((static_cast<int64_t>(newWidth) - w) / 2);
    const size_t srcStride = info_.effWidth;
    const size_t dstStride = tmp.info_.effWidth;
    for (size_t y = 0; y < h; ++y) {
        const uint8_t* src = info_.imageBits + y * srcStride;
        uint8_t* dst = tmp.info_.imageBits + y * dstStride + off;
        if (bpp == 8) {
            std::memcpy(dst, src, w);
        } else if (bpp == 1 || bpp == 4) {
            for (uint32_t x = 0; x < w; ++x) {
                dst[x] = rowGetIndex(src, x, bpp);
            }
        }
    }
    Transfer(tmp);
}

void DibImage::DrawLine(int32_t startX, int32_t endX, int32_t startY, int32_t endY, uint8_t index)
{
    if (!block_) {
        return;
    }
    // Integer Bresenham: step along the major axis, move along the minor one
    // whenever the accumulated error reaches the major length.
    const long dx = startX <= endX ? static_cast<long>(endX) - startX : static_cast<long>(startX) - endX;
    const long dy = startY <= endY ? static_cast<long>(endY) - startY : static_cast<long>(startY) - endY;
    const long sx = endX < startX ? -1 : 1;
    const long sy = endY < startY ? -1 : 1;
    long x = startX;
    long y = startY;

    const bool xMajor = dx >= dy;
    const long count = xMajor ? dx : dy;
    const long den = count;
    const long add = xMajor ? dy : dx;
    long num = count / 2;
    for (long i = 0; i <= count; ++i) {
        SetPixelIndex(x, y, index);
        num += add;
        if (num >= den) {
            num -= den;
            if (xMajor) {
                y += sy;
            } else {
                x += sx;
            }
        }
        if (xMajor) {
            x += sx;
        } else {
            y += sy;
        }
    }
}
