// SPDX-License-Identifier: Apache-2.0
// DibImage: what a page through the filter never reaches, in one grouped
// test: refusals, reads outside the image, nearest palette colours, the
// dither methods no halftone type selects, and the widening limits.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "PageReference.h"
#include "dibimage/DibImage.h"

TEST(DibImage, InterfaceOutsideThePagePipeline)
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

    // Methods outside 0 to 7 diffuse as Floyd-Steinberg.
    pageref::PageInput page{.width = 11, .height = 6, .bytesPerLine = 11};
    for (uint32_t i = 0; i < 66; ++i) {
        page.pixels.push_back(static_cast<uint8_t>((i * 37 + (i / 11) * 91 + i * i * 13) % 256));
    }
    for (long method : {8L, 100L, -1L}) {
        DibImage dithered;
        ASSERT_TRUE(dithered.CreateFromArray(page.pixels.data(), 11, 6, 8, 11, false));
        ASSERT_TRUE(dithered.Dither(method));
        ASSERT_TRUE(dithered.IncreaseBpp(8));
        std::vector<uint8_t> indices;
        for (uint32_t y = 0; y < 6; ++y) {
            indices.insert(indices.end(), dithered.GetBits(y), dithered.GetBits(y) + 11);
        }
        EXPECT_EQ(indices, pageref::ditherIndices(page, method)) << method;
    }
    DibImage mono;
    ASSERT_NE(mono.Create(9, 2, 1, 0), nullptr);
    mono.SetPixelIndex(3, 1, 1);
    EXPECT_TRUE(mono.Dither(4));
    EXPECT_EQ(mono.GetBits(1)[0], 0x10);  // left alone: a 1 read as a level would print black

    DibImage small;
    ASSERT_TRUE(small.CreateFromArray(page.pixels.data(), 3, 2, 8, 3, false));
    EXPECT_FALSE(small.IncreaseBpp(16));
    EXPECT_FALSE(small.Expand(-1, 0, 0, 0, RGBQUAD{0, 0, 0, 0}));
    EXPECT_EQ(small.GetWidth(), 3u);
    small.Negative();
    small.Negative();
    EXPECT_EQ(0, std::memcmp(small.GetBits(1), page.pixels.data() + 3, 3));  // twice restores
    ASSERT_TRUE(small.IncreaseBpp(24));
    EXPECT_FALSE(small.IncreaseBpp(8));
    EXPECT_EQ(small.GetBpp(), 24u);
}
