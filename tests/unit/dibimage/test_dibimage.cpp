// SPDX-License-Identifier: Apache-2.0
// DibImage's refusals, which no page through the filter meets: sizes past
// what it can count, an enlargement that would shrink, depths it cannot
// widen to, and a 1-bit image, whose indices a dither would read as levels.
#include <gtest/gtest.h>

#include "dibimage/DibImage.h"

TEST(DibImage, RefusesWhatItCannotDo)
{
    DibImage img;
    EXPECT_EQ(img.Create(0, 5, 8, 0), nullptr);
    EXPECT_FALSE(img.IsValid());
    EXPECT_EQ(img.Create(65536, 65536, 24, 0), nullptr);  // 12 GiB
    EXPECT_STREQ(img.GetLastError(), "DIBIMAGE_MAX_MEMORY exceeded");

    uint8_t pixels[6] = {1, 2, 3, 4, 5, 6};
    ASSERT_TRUE(img.CreateFromArray(pixels, 3, 2, 8, 3, false));
    EXPECT_FALSE(img.IncreaseBpp(16));
    EXPECT_FALSE(img.Expand(-1, 0, 0, 0, RGBQUAD{0, 0, 0, 0}));
    EXPECT_EQ(img.GetWidth(), 3u);
    ASSERT_TRUE(img.IncreaseBpp(24));
    EXPECT_FALSE(img.IncreaseBpp(8));
    EXPECT_EQ(img.GetBpp(), 24u);

    DibImage mono;
    ASSERT_NE(mono.Create(9, 2, 1, 0), nullptr);
    mono.SetPixelIndex(3, 1, 1);
    EXPECT_TRUE(mono.Dither(4));
    EXPECT_EQ(mono.GetBits(1)[0], 0x10);  // left alone: a 1 read as a level would print black
}
