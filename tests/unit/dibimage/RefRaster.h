// A plain model of a DibImage for the tests: rows of packed pixels plus a
// palette, with the accessor rules written out directly (division and
// modulo, no shared code with the class). Used to run slow reference
// versions of the image operations and compare them byte for byte.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "dibimage/DibImage.h"

struct Raster {
    long w = 0, h = 0, bpp = 0, stride = 0;
    std::vector<uint8_t> bits;
    std::vector<RGBQUAD> pal;

    Raster() = default;
    Raster(long width, long height, long bitCount) : w(width), h(height), bpp(bitCount)
    {
        stride = ((bpp * w + 31) / 32) * 4;
        bits.assign(static_cast<size_t>(stride * h), 0);
        pal.assign(bpp == 1 ? 2 : bpp == 4 ? 16 : bpp == 8 ? 256 : 0, RGBQUAD{0, 0, 0, 0});
    }

    // Unchecked read of a pixel's index.
    int blindGet(long x, long y) const
    {
        const uint8_t* row = &bits[static_cast<size_t>(y * stride)];
        if (bpp == 8)
            return row[x];
        if (bpp == 4)
            return x % 2 == 0 ? row[x / 2] / 16 : row[x / 2] % 16;
        if (bpp == 1)
            return (row[x / 8] >> (7 - x % 8)) % 2;
        return 0;
    }
    // Checked read: 0 without palette; the first pixel byte outside.
    int get(long x, long y) const
    {
        if (pal.empty())
            return 0;
        if (x < 0 || y < 0 || x >= w || y >= h)
            return bits[0];
        return blindGet(x, y);
    }
    // Checked write: ignored without palette or outside.
    void set(long x, long y, int index)
    {
        if (pal.empty() || x < 0 || y < 0 || x >= w || y >= h)
            return;
        uint8_t& b = bits[static_cast<size_t>(y * stride + x * bpp / 8)];
        if (bpp == 8) {
            b = static_cast<uint8_t>(index);
        } else if (bpp == 4) {
            b = x % 2 == 0 ? static_cast<uint8_t>((index % 16) * 16 + b % 16)
                           : static_cast<uint8_t>(b / 16 * 16 + index % 16);
        } else if (bpp == 1) {
            const int bit = 1 << (7 - x % 8);
            b = index % 2 ? static_cast<uint8_t>(b | bit) : static_cast<uint8_t>(b & ~bit);
        }
    }
};

inline Raster snapshot(const DibImage& img)
{
    Raster r(img.GetWidth(), img.GetHeight(), img.GetBpp());
    EXPECT_EQ(static_cast<long>(img.GetEffWidth()), r.stride);
    std::memcpy(r.bits.data(), img.GetBits(0), r.bits.size());
    if (!r.pal.empty())
        std::memcpy(r.pal.data(), img.GetPalette(), r.pal.size() * sizeof(RGBQUAD));
    return r;
}

inline void load(DibImage& img, const Raster& r)
{
    ASSERT_NE(img.Create(r.w, r.h, r.bpp, 0), nullptr);
    std::memcpy(img.GetBits(0), r.bits.data(), r.bits.size());
    if (!r.pal.empty())
        img.SetPalette(r.pal.data(), static_cast<uint32_t>(r.pal.size()));
}

inline bool samePalette(const std::vector<RGBQUAD>& a, const std::vector<RGBQUAD>& b)
{
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(RGBQUAD)) == 0);
}

inline void expectSameRaster(const Raster& got, const Raster& want)
{
    ASSERT_EQ(got.w, want.w);
    ASSERT_EQ(got.h, want.h);
    ASSERT_EQ(got.bpp, want.bpp);
    EXPECT_TRUE(samePalette(got.pal, want.pal));
    for (long y = 0; y < want.h; ++y)
        for (long i = 0; i < want.stride; ++i)
            ASSERT_EQ(got.bits[y * want.stride + i], want.bits[y * want.stride + i])
                << "row " << y << " byte " << i;
}

// An 8-bit (or 4-bit) gray image; pattern 0 random, 1 horizontal ramp,
// 2 vertical ramp, 3 mid-gray plateau with noise, 4 levels near 129.
inline Raster grayImage(long w, long h, int pattern, unsigned seed, long bpp = 8)
{
    Raster r(w, h, bpp);
    const int top = bpp == 8 ? 255 : 15;
    for (size_t i = 0; i < r.pal.size(); ++i) {
        const uint8_t v = static_cast<uint8_t>(i * (255 / (r.pal.size() - 1)));
        r.pal[i] = RGBQUAD{v, v, v, 0};
    }
    std::mt19937 rng(seed);
    for (long y = 0; y < h; ++y)
        for (long x = 0; x < w; ++x) {
            int v;
            switch (pattern) {
            case 0: v = static_cast<int>(rng() % (top + 1)); break;
            case 1: v = w > 1 ? static_cast<int>(x * top / (w - 1)) : top / 2; break;
            case 2: v = h > 1 ? static_cast<int>(y * top / (h - 1)) : top / 2; break;
            case 3: v = top / 2 + static_cast<int>(rng() % 9) - 4; break;
            default: v = bpp == 8 ? 124 + static_cast<int>(rng() % 11) : static_cast<int>(rng() % 3); break;
            }
            r.set(x, y, v);
        }
    // The padding bits after each row's last pixel carry garbage: no
    // operation may let them leak into pixels.
    for (long y = 0; y < h; ++y)
        for (long bit = w * bpp; bit < r.stride * 8; ++bit)
            if (rng() % 2)
                r.bits[y * r.stride + bit / 8] |= static_cast<uint8_t>(0x80 >> (bit % 8));
    return r;
}
