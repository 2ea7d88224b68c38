// DibImage transforms against literal per-pixel references.

#include <gtest/gtest.h>

#include <cstring>

#include "RefRaster.h"
#include "dibimage/DibImage.h"

namespace {

const long kWidths[] = {1, 3, 5, 7, 13, 33};
const long kHeights[] = {1, 3, 10};

TEST(DibLight, DocumentedLevelsAndTheFloatFormula)
{
    const struct {
        long brightness, contrast;
        int in, out;
    } cases[] = {{0, 100, 0, 0},    {0, 100, 128, 128}, {0, 100, 200, 255}, {50, 0, 10, 60},
                 {50, 0, 220, 255}, {-500, 0, 200, 0},  {0, -200, 0, 255},  {0, -100, 17, 128}};
    for (const auto& c : cases) {
        DibImage img;
        const uint8_t px = static_cast<uint8_t>(c.in);
        ASSERT_TRUE(img.CreateFromArray(&px, 1, 1, 8, 1, false));
        ASSERT_TRUE(img.Light(c.brightness, c.contrast));
        EXPECT_EQ(img.GetPixelIndex(0, 0), c.out) << c.brightness << " " << c.contrast << " " << c.in;
    }

    // Every level under the pipeline's settings (brightness x 5, contrast x 2):
    // c = (contrast + 100) / 100 and b = brightness + 128 in float,
    // level = trunc((i - 128) * c + b + 0.5) held to 0 .. 255.
    uint8_t all[256];
    for (int i = 0; i < 256; ++i)
        all[i] = static_cast<uint8_t>(i);
    for (long bs = -100; bs <= 100; bs += 7)
        for (long cs = -100; cs <= 100; cs += 3) {
            DibImage img;
            ASSERT_TRUE(img.CreateFromArray(all, 256, 1, 8, 256, false));
            ASSERT_TRUE(img.Light(bs * 5, cs * 2));
            const float c = static_cast<float>(cs * 2 + 100) / 100.0f;
            for (int i = 0; i < 256; ++i) {
                const float sum = static_cast<float>(i - 128) * c + static_cast<float>(bs * 5 + 128);
                const int v = static_cast<int>(sum + 0.5f);
                ASSERT_EQ(img.GetBits(0)[i], v < 0 ? 0 : v > 255 ? 255 : v) << bs << " " << cs << " " << i;
            }
        }
    DibImage empty;
    EXPECT_FALSE(empty.Light(0, 0));
    EXPECT_FALSE(empty.Lut(all));
}

TEST(DibNegative, ComplementsEveryByteIncludingPadding)
{
    for (long bpp : {1L, 4L, 8L}) {
        DibImage img;
        load(img, grayImage(7, 3, 0, 5, bpp));
        const Raster before = snapshot(img);
        img.Negative();
        const Raster after = snapshot(img);
        for (size_t i = 0; i < before.bits.size(); ++i)
            ASSERT_EQ(after.bits[i], static_cast<uint8_t>(~before.bits[i])) << bpp << " " << i;
        EXPECT_TRUE(samePalette(after.pal, before.pal));
        img.Negative();
        expectSameRaster(snapshot(img), before);
    }
}

TEST(DibRotateAndMirror, EightBitResultsMatchPerPixelReferences)
{
    for (long bpp : {1L, 4L, 8L})
        for (long w : kWidths)
            for (long h : kHeights) {
                SCOPED_TRACE(::testing::Message() << bpp << " bits " << w << "x" << h);
                const Raster src = grayImage(w, h, 0, static_cast<unsigned>(w * 31 + h + bpp), bpp);
                Raster rotated(w, h, 8), mirrored(w, h, 8);
                std::copy(src.pal.begin(), src.pal.end(), rotated.pal.begin());
                std::copy(src.pal.begin(), src.pal.end(), mirrored.pal.begin());
                for (long y = 0; y < h; ++y)
                    for (long x = 0; x < w; ++x) {
                        rotated.set(w - 1 - x, h - 1 - y, src.get(x, y));
                        mirrored.set(w - 1 - x, y, src.get(x, y));
                    }

                DibImage img;
                load(img, src);
                ASSERT_TRUE(img.Rotate180());
                expectSameRaster(snapshot(img), rotated);

                DibImage source, target;
                load(source, src);
                ASSERT_TRUE(source.Rotate180(&target));
                expectSameRaster(snapshot(target), rotated);
                expectSameRaster(snapshot(source), src);

                if (bpp == 8) {
                    source.Mirror();
                    expectSameRaster(snapshot(source), mirrored);
                }
            }
    DibImage empty;
    EXPECT_FALSE(empty.Rotate180());
}

TEST(DibMirror, TwentyFourBitLineReversesItsBytes)
{
    // Bytes 0 .. (w - 1) * 3 of the line are reversed into an 8-bit image
    // (2 pixels: bytes 0 .. 3).
    const uint8_t px[6] = {1, 2, 3, 4, 5, 6};
    DibImage img;
    ASSERT_TRUE(img.CreateFromArray(px, 2, 1, 24, 6, false));
    img.Mirror();
    ASSERT_EQ(img.GetBpp(), 8u);
    const uint8_t want[4] = {4, 3, 2, 1};
    EXPECT_EQ(0, std::memcmp(img.GetBits(0), want, 4));
}

TEST(DibExpand, BorderIsTheNearestColourAndTheSourceSitsAtLeftAndBottomMargins)
{
    const long l = 3, t = 1, r = 2, b = 4;
    for (long bpp : {1L, 4L, 8L})
        for (long w : {1L, 3L, 13L})
            for (const RGBQUAD& colour : {RGBQUAD{255, 255, 255, 0}, RGBQUAD{90, 90, 90, 0}}) {
                SCOPED_TRACE(::testing::Message() << bpp << " bits width " << w << " colour " << int(colour.rgbRed));
                Raster src = grayImage(w, 3, 0, static_cast<unsigned>(w + bpp), bpp);
                if (bpp == 8) {  // black, white, then zeros: the dithered page
                    std::fill(src.pal.begin(), src.pal.end(), RGBQUAD{0, 0, 0, 0});
                    src.pal[1] = RGBQUAD{255, 255, 255, 0};
                }
                long best = 1L << 40;  // nearest: smallest squared distance, first wins
                int fill = 0;
                for (size_t j = 0; j < src.pal.size(); ++j) {
                    const long db = src.pal[j].rgbBlue - colour.rgbBlue, dg = src.pal[j].rgbGreen - colour.rgbGreen,
                               dr = src.pal[j].rgbRed - colour.rgbRed;
                    if (db * db + dg * dg + dr * dr < best) {
                        best = db * db + dg * dg + dr * dr;
                        fill = static_cast<int>(j);
                    }
                }
                Raster want(w + l + r, 3 + t + b, bpp);
                want.pal = src.pal;
                if (bpp == 8)  // the whole block is filled, padding too
                    std::fill(want.bits.begin(), want.bits.end(), static_cast<uint8_t>(fill));
                for (long y = 0; y < want.h; ++y)
                    for (long x = 0; x < want.w; ++x) {
                        const bool inside = x >= l && x < l + w && y >= b && y < b + 3;
                        want.set(x, y, inside ? src.get(x - l, y - b) : fill);
                    }
                DibImage img;
                load(img, src);
                ASSERT_TRUE(img.Expand(l, t, r, b, colour));
                expectSameRaster(snapshot(img), want);
            }
}

TEST(DibExpand, TwentyFourBitsPageFrameAndRefusals)
{
    const uint8_t px[6] = {1, 2, 3, 4, 5, 6};
    DibImage rgb;
    ASSERT_TRUE(rgb.CreateFromArray(px, 2, 1, 24, 6, false));
    ASSERT_TRUE(rgb.Expand(1, 0, 0, 1, RGBQUAD{7, 8, 9, 0}));
    const uint8_t rows[24] = {7, 8, 9, 7, 8, 9, 7, 8, 9, 0, 0, 0, 7, 8, 9, 1, 2, 3, 4, 5, 6, 0, 0, 0};
    ASSERT_EQ(rgb.GetEffWidth(), 12u);
    EXPECT_EQ(0, std::memcmp(rgb.GetBits(0), rows, 24));

    // The anti-wrinkle frame on an A4 page at 300 dpi, gray palette.
    DibImage page;
    ASSERT_NE(page.Create(2362, 3248, 8, 0), nullptr);
    page.SetGrayPalette();
    page.GetBits(0)[0] = 17;
    page.GetBits(3247)[2361] = 18;
    ASSERT_TRUE(page.Expand(24, 12, 24, 12, RGBQUAD{255, 255, 255, 0}));
    EXPECT_EQ(page.GetWidth(), 2410u);
    EXPECT_EQ(page.GetHeight(), 3272u);
    EXPECT_EQ(page.GetPixelIndex(24, 12), 17);
    EXPECT_EQ(page.GetPixelIndex(24 + 2361, 12 + 3247), 18);
    EXPECT_EQ(page.GetPixelIndex(25, 12), 0);
    for (long x : {0L, 23L, 2386L, 2409L})
        EXPECT_EQ(page.GetPixelIndex(x, 1000), 255) << x;
    for (long y : {0L, 11L, 3260L, 3271L})
        EXPECT_EQ(page.GetPixelIndex(1000, y), 255) << y;

    const Raster src = grayImage(5, 3, 0, 9);
    DibImage img;
    load(img, src);
    EXPECT_FALSE(img.Expand(-1, 0, 0, 0, RGBQUAD{0, 0, 0, 0}));
    EXPECT_FALSE(img.Expand(0, 0, 0, -2, RGBQUAD{0, 0, 0, 0}));
    EXPECT_FALSE(img.Expand(70000, 70000, 0, 0, RGBQUAD{0, 0, 0, 0}));
    EXPECT_STREQ(img.GetLastError(), "DIBIMAGE_MAX_MEMORY exceeded");  // from the creation
    expectSameRaster(snapshot(img), src);
}

TEST(DibMakeCenterAndDrawLine, CentreAndBresenham)
{
    const Raster src = grayImage(3, 2, 0, 4);
    DibImage img;
    load(img, src);
    img.MakeCenter(3);  // not wider: nothing happens
    EXPECT_EQ(img.GetWidth(), 3u);
    img.MakeCenter(8);
    ASSERT_EQ(img.GetWidth(), 8u);
    for (long y = 0; y < 2; ++y)
        for (long x = 0; x < 8; ++x)
            EXPECT_EQ(img.GetPixelIndex(x, y), x >= 2 && x < 5 ? src.get(x - 2, y) : 0) << x << "," << y;

    DibImage canvas;
    ASSERT_NE(canvas.Create(6, 4, 8, 0), nullptr);
    canvas.DrawLine(0, 5, 0, 2, 9);   // x from 0 to 5, y from 0 to 2
    canvas.DrawLine(1, 1, 3, -5, 4);  // column 1 upwards, partly outside
    const char* want[4] = {"94....", ".499..", ".4..99", ".4...."};
    for (long y = 0; y < 4; ++y)
        for (long x = 0; x < 6; ++x)
            EXPECT_EQ(canvas.GetPixelIndex(x, y), want[y][x] == '.' ? 0 : want[y][x] - '0') << x << "," << y;
}

} // namespace
