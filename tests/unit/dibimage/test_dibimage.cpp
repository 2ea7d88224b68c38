// DibImage: refusals and edge cases a page through the filter never reaches.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "dibimage/DibImage.h"

namespace {

// Floyd-Steinberg written out: below 129 prints black and carries the level, else white
// and level - 255; 7/16 right, 3/16, 5/16 and 1/16 below (truncating), every neighbour
// held to 0..255, those outside the image skipped.
std::vector<int> floydSteinberg(std::vector<int> g, long w, long h)
{
    std::vector<int> out(g.size());
    const long taps[4][3] = {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}};
    for (long y = 0; y < h; ++y) {
        for (long x = 0; x < w; ++x) {
            const long v = g[y * w + x], err = v < 129 ? v : v - 255;
            out[y * w + x] = v < 129 ? 0 : 1;
            for (const auto& t : taps) {
                const long nx = x + t[0], ny = y + t[1];
                if (nx >= 0 && nx < w && ny < h) {
                    g[ny * w + nx] = static_cast<int>(std::clamp(g[ny * w + nx] + err * t[2] / 16, 0L, 255L));
                }
            }
        }
    }
    return out;
}

}  // namespace

TEST(DibImage, RefusalsAndEdgeCases)
{
    DibImage img;
    ASSERT_NE(img.Create(4, 4, 8, 0), nullptr);
    EXPECT_EQ(img.Create(0, 5, 8, 0), nullptr);
    EXPECT_STREQ(img.GetLastError(), "DibImage::Create : width and height must be greater than zero");
    EXPECT_FALSE(img.IsValid());
    EXPECT_EQ(img.Create(65536, 65536, 24, 0), nullptr);  // 12 GiB, past what 32 bits can count
    EXPECT_STREQ(img.GetLastError(), "DIBIMAGE_MAX_MEMORY exceeded");

    ASSERT_NE(img.Create(5, 3, 8, 0), nullptr);
    img.GetBits(0)[0] = 7;
    EXPECT_EQ(img.GetPixelIndex(-1, 0), 7);  // outside: the first pixel byte
    EXPECT_EQ(img.GetPixelIndex(5, 0), 7);

    // A new palette is all black: the first of equal entries wins, and a
    // change of the palette is seen by the next lookup.
    const RGBQUAD white{255, 255, 255, 0};
    img.SetPaletteColor(1, 255, 255, 255);
    EXPECT_EQ(img.GetNearestIndex(white), 1);
    EXPECT_EQ(img.GetNearestIndex(RGBQUAD{10, 10, 10, 0}), 0);
    img.SetPaletteColor(1, 0, 0, 0);
    img.SetPaletteColor(77, 250, 250, 250);
    EXPECT_EQ(img.GetNearestIndex(white), 77);

    const uint8_t px[6] = {10, 20, 30, 40, 50, 60};
    DibImage small;
    ASSERT_TRUE(small.CreateFromArray(px, 3, 2, 8, 3, false));
    EXPECT_FALSE(small.IncreaseBpp(16));
    EXPECT_FALSE(small.Expand(-1, 0, 0, 0, RGBQUAD{0, 0, 0, 0}));
    EXPECT_EQ(small.GetWidth(), 3u);
    small.Negative();
    EXPECT_EQ(small.GetPixelIndex(2, 1), 255 - 60);
    small.Negative();
    EXPECT_EQ(0, std::memcmp(small.GetBits(1), px + 3, 3));  // twice restores
    ASSERT_TRUE(small.IncreaseBpp(24));
    EXPECT_FALSE(small.IncreaseBpp(8));
    EXPECT_EQ(small.GetBpp(), 24u);
}

TEST(DibImage, UnknownDitherMethodsAreFloydSteinbergAndOneBitIsLeftAlone)
{
    const long w = 11, h = 6;
    std::vector<uint8_t> levels(w * h);
    for (long i = 0; i < w * h; ++i) {
        levels[i] = static_cast<uint8_t>((i * 37 + (i / w) * 91 + i * i * 13) % 256);
    }
    const std::vector<int> want = floydSteinberg(std::vector<int>(levels.begin(), levels.end()), w, h);
    for (long method : {8L, 100L, -1L}) {
        DibImage img;
        ASSERT_TRUE(img.CreateFromArray(levels.data(), w, h, 8, w, false));
        ASSERT_TRUE(img.Dither(method));
        for (long y = 0; y < h; ++y) {
            for (long x = 0; x < w; ++x) {
                EXPECT_EQ(img.GetPixelIndex(x, y), want[y * w + x]) << method << ": " << x << "," << y;
            }
        }
    }

    DibImage mono;
    ASSERT_NE(mono.Create(9, 2, 1, 0), nullptr);
    mono.SetPixelIndex(3, 1, 1);
    EXPECT_TRUE(mono.Dither(4));
    EXPECT_EQ(mono.GetBits(1)[0], 0x10);  // a 1 read as a level would print black
}
