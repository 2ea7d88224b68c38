// DibImage::IncreaseBpp: widening keeps every index (or colour).

#include <gtest/gtest.h>

#include "RefRaster.h"
#include "dibimage/DibImage.h"

namespace {

TEST(DibIncreaseBpp, EveryWideningKeepsIndicesAndColours)
{
    for (long from : {1L, 4L})
        for (long to : {4L, 8L, 24L})
            for (long w : {1L, 5L, 7L, 8L, 13L, 33L}) {
                if (to <= from)
                    continue;
                SCOPED_TRACE(::testing::Message() << from << " -> " << to << " width " << w);
                Raster src = grayImage(w, 3, 0, static_cast<unsigned>(w * from), from);
                for (size_t j = 0; j < src.pal.size(); ++j)  // a palette that is not gray
                    src.pal[j] = RGBQUAD{static_cast<uint8_t>(j * 7), static_cast<uint8_t>(200 - j),
                                         static_cast<uint8_t>(j * 13), 0};
                Raster want(w, 3, to);
                for (long y = 0; y < 3; ++y)
                    for (long x = 0; x < w; ++x) {
                        if (to == 24) {
                            const RGBQUAD c = src.pal[src.get(x, y)];
                            uint8_t* p = &want.bits[y * want.stride + 3 * x];
                            p[0] = c.rgbBlue;
                            p[1] = c.rgbGreen;
                            p[2] = c.rgbRed;
                        } else {
                            want.set(x, y, src.get(x, y));
                        }
                    }
                if (to != 24)  // the palette stays; 24 bits have none
                    std::copy(src.pal.begin(), src.pal.end(), want.pal.begin());
                DibImage img;
                load(img, src);
                ASSERT_TRUE(img.IncreaseBpp(static_cast<uint32_t>(to)));
                expectSameRaster(snapshot(img), want);
            }
}

TEST(DibIncreaseBpp, DitheredPageBecomesBytesZeroAndOne)
{
    const Raster page = grayImage(13, 3, 0, 21);
    DibImage img;
    load(img, page);
    ASSERT_TRUE(img.Dither(0));
    ASSERT_TRUE(img.IncreaseBpp(8));
    Raster want(13, 3, 8);
    want.pal[1] = RGBQUAD{255, 255, 255, 0};
    for (long y = 0; y < 3; ++y)
        for (long x = 0; x < 13; ++x)
            want.set(x, y, page.get(x, y) >= 129 ? 1 : 0);
    expectSameRaster(snapshot(img), want);
}

TEST(DibIncreaseBpp, RefusalsAndNoOps)
{
    DibImage empty;
    EXPECT_FALSE(empty.IncreaseBpp(8));

    const Raster gray = grayImage(5, 2, 0, 1);
    DibImage img;
    load(img, gray);
    EXPECT_TRUE(img.IncreaseBpp(8));
    EXPECT_FALSE(img.IncreaseBpp(4));
    EXPECT_FALSE(img.IncreaseBpp(16));
    EXPECT_FALSE(img.IncreaseBpp(1));
    expectSameRaster(snapshot(img), gray);
    ASSERT_TRUE(img.IncreaseBpp(24));
    const Raster rgb = snapshot(img);
    EXPECT_TRUE(img.IncreaseBpp(24));
    EXPECT_FALSE(img.IncreaseBpp(8));
    expectSameRaster(snapshot(img), rgb);
}

} // namespace
