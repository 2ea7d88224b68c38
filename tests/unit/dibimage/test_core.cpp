// DibImage core: creation, ownership, palette and pixel access.

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "dibimage/DibImage.h"

namespace {

const char kNoSize[] = "DibImage::Create : width and height must be greater than zero";
const char kTooBig[] = "DIBIMAGE_MAX_MEMORY exceeded";

TEST(DibCreate, RefusesEmptyAndOversizedImagesLeavingThemEmpty)
{
    const struct {
        uint32_t w, h, bpp;
        const char* error;
    } cases[] = {
        {0, 5, 8, kNoSize},
        {5, 0, 1, kNoSize},
        {65536, 65536, 24, kTooBig},  // wraps in 32 bits
        {65536, 65536, 1, kTooBig},   // exactly 2^32 bits
        {0xFFFFFFFFu, 0xFFFFFFFFu, 32, kTooBig},
        {1, 1u << 31, 1, kTooBig},  // 2^31 bits, but 4-byte rows: 2^33 bytes
    };
    for (const auto& c : cases) {
        DibImage img;
        ASSERT_NE(img.Create(4, 4, 8, 0), nullptr);
        EXPECT_EQ(img.Create(c.w, c.h, c.bpp, 0), nullptr) << c.w << "x" << c.h;
        EXPECT_STREQ(img.GetLastError(), c.error);
        EXPECT_FALSE(img.IsValid());
        EXPECT_EQ(img.GetBits(0), nullptr);
        EXPECT_EQ(img.GetPalette(), nullptr);
    }
}

TEST(DibCreate, LayoutNormalisedDepthAndZeroedBlock)
{
    // 13 pixels: 13 bits -> 4 bytes, 52 -> 8, 104 -> 16, 312 -> 40.
    const struct {
        uint32_t asked, bpp, eff, colours;
    } cases[] = {{0, 1, 4, 2},     {1, 1, 4, 2},    {2, 4, 8, 16},   {4, 4, 8, 16}, {5, 8, 16, 256},
                 {8, 8, 16, 256}, {9, 24, 40, 0}, {24, 24, 40, 0}, {32, 24, 40, 0}};
    for (const auto& c : cases) {
        DibImage img;
        uint8_t* block = static_cast<uint8_t*>(img.Create(13, 3, c.asked, 0));
        ASSERT_NE(block, nullptr) << c.asked;
        EXPECT_EQ(img.GetBpp(), c.bpp) << c.asked;
        EXPECT_EQ(img.GetEffWidth(), c.eff) << c.asked;
        EXPECT_EQ(img.GetNumColors(), c.colours) << c.asked;
        EXPECT_EQ(img.GetSize(), 40 + 4 * c.colours + 3 * c.eff) << c.asked;
        BITMAPINFOHEADER head;
        std::memcpy(&head, block, sizeof(head));
        EXPECT_TRUE(head.biSize == 40 && head.biWidth == 13 && head.biHeight == 3 && head.biPlanes == 1 &&
                    head.biBitCount == c.bpp && head.biSizeImage == 3 * c.eff && head.biClrUsed == c.colours);
        EXPECT_EQ(img.GetBits(0), block + 40 + 4 * c.colours);
        EXPECT_EQ(img.GetBits(2), img.GetBits(0) + 2 * c.eff);
        EXPECT_EQ(img.GetBits(3), nullptr);
        for (uint32_t i = 40; i < img.GetSize(); ++i)  // palette, rows and padding
            ASSERT_EQ(block[i], 0) << c.asked << " byte " << i;
    }
}

TEST(DibCreateFromArray, CopiesRowsAsGivenAndRejectsBadArguments)
{
    const uint8_t src[15] = {1, 2, 3, 91, 99, 4, 5, 6, 92, 99, 7, 8, 9, 93, 99};
    DibImage img;
    EXPECT_FALSE(img.CreateFromArray(src, 2, 2, 16, 4, false));
    EXPECT_FALSE(img.CreateFromArray(src, 2, 2, 2, 4, false));
    EXPECT_FALSE(img.CreateFromArray(nullptr, 2, 2, 8, 4, false));

    // Source stride 5, row 4: min(4, 5) bytes per row, padding included.
    ASSERT_TRUE(img.CreateFromArray(src, 3, 3, 8, 5, false));
    for (uint32_t y = 0; y < 3; ++y)
        EXPECT_EQ(0, std::memcmp(img.GetBits(y), src + 5 * y, 4)) << y;
    EXPECT_EQ(img.GetPaletteColor(200).rgbGreen, 200);
    ASSERT_TRUE(img.CreateFromArray(src, 3, 3, 8, 5, true));
    for (uint32_t y = 0; y < 3; ++y)
        EXPECT_EQ(0, std::memcmp(img.GetBits(2 - y), src + 5 * y, 4)) << y;
    // Source stride 2: the rest of each row stays 0.
    ASSERT_TRUE(img.CreateFromArray(src, 3, 2, 8, 2, false));
    const uint8_t rows[8] = {1, 2, 0, 0, 3, 91, 0, 0};
    EXPECT_EQ(0, std::memcmp(img.GetBits(0), rows, 8));
    // 32 bits become 24: the fourth byte of each pixel is dropped.
    ASSERT_TRUE(img.CreateFromArray(src, 2, 1, 32, 8, false));
    const uint8_t rgb[8] = {1, 2, 3, 99, 4, 5, 0, 0};
    EXPECT_EQ(img.GetBpp(), 24u);
    EXPECT_EQ(0, std::memcmp(img.GetBits(0), rgb, 8));
    ASSERT_TRUE(img.CreateFromArray(src, 3, 1, 4, 4, false));
    EXPECT_EQ(img.GetPaletteColor(3).rgbRed, 51);  // 16 grays, 17 apart
}

TEST(DibPixels, CheckedAccessAndPacking)
{
    DibImage img;
    ASSERT_NE(img.Create(5, 3, 8, 0), nullptr);
    img.GetBits(0)[0] = 7;
    // Outside the image a read answers the first pixel byte, a write is ignored.
    for (const auto& p : {std::pair<long, long>{-1, 0}, {5, 0}, {0, 3}, {2, -1}})
        EXPECT_EQ(img.GetPixelIndex(p.first, p.second), 7);
    img.SetPixelIndex(5, 2, 1);
    EXPECT_EQ(img.GetBits(2)[5], 0);

    DibImage mono;
    ASSERT_NE(mono.Create(10, 2, 1, 0), nullptr);
    mono.SetPixelIndex(0, 0, 255);
    mono.SetPixelIndex(9, 1, 255);
    EXPECT_EQ(mono.GetBits(0)[0], 0x80);
    EXPECT_EQ(mono.GetBits(1)[1], 0x40);
    mono.SetPixelIndex(0, 0, 254);
    EXPECT_EQ(mono.GetBits(0)[0], 0);

    DibImage nib;
    ASSERT_NE(nib.Create(3, 1, 4, 0), nullptr);
    nib.SetPixelIndex(0, 0, 0x3A);
    nib.SetPixelIndex(1, 0, 0x05);
    nib.SetPixelIndex(2, 0, 0xFF);
    EXPECT_EQ(nib.GetBits(0)[0], 0xA5);
    EXPECT_EQ(nib.GetBits(0)[1], 0xF0);
    EXPECT_EQ(nib.GetPixelIndex(1, 0), 5);

    DibImage rgb;  // no palette, no indices
    ASSERT_NE(rgb.Create(2, 2, 24, 0), nullptr);
    rgb.GetBits(0)[0] = 5;
    EXPECT_EQ(rgb.GetPixelIndex(0, 0), 0);
    rgb.SetPixelIndex(0, 0, 9);
    EXPECT_EQ(rgb.GetBits(0)[0], 5);
    DibImage empty;
    EXPECT_EQ(empty.GetPixelIndex(0, 0), 0);
}

TEST(DibPalette, GrayPaletteAndNearestIndex)
{
    DibImage img;
    ASSERT_NE(img.Create(1, 1, 8, 0), nullptr);
    img.SetPaletteColor(1, 255, 255, 255);  // black, white, then 254 black entries
    const RGBQUAD white{255, 255, 255, 0};
    EXPECT_EQ(img.GetNearestIndex(white), 1);
    EXPECT_EQ(img.GetNearestIndex(RGBQUAD{10, 10, 10, 0}), 0);  // first of the equal blacks
    img.SetPaletteColor(1, 0, 0, 0);
    img.SetPaletteColor(77, 250, 250, 250);
    EXPECT_EQ(img.GetNearestIndex(white), 77);  // a palette change is seen
    ASSERT_NE(img.Create(1, 1, 8, 0), nullptr);
    EXPECT_EQ(img.GetNearestIndex(white), 0);  // so is a new, all-black one
    img.SetPaletteColor(77, 250, 250, 250);

    img.SetPaletteColor(3, 1, 2, 3, 44);
    img.SetGrayPalette();  // keeps the reserved byte
    const RGBQUAD c3 = img.GetPaletteColor(3);
    EXPECT_TRUE(c3.rgbBlue == 3 && c3.rgbGreen == 3 && c3.rgbRed == 3 && c3.rgbReserved == 44);
    EXPECT_EQ(img.GetNearestIndex(RGBQUAD{100, 100, 100, 9}), 100);

    RGBQUAD two[2] = {{9, 9, 9, 0}, {8, 8, 8, 0}};
    img.SetPalette(two, 2);  // only the entries given
    EXPECT_EQ(img.GetPaletteColor(1).rgbBlue, 8);
    EXPECT_EQ(img.GetPaletteColor(2).rgbBlue, 2);

    DibImage rgb;
    ASSERT_NE(rgb.Create(1, 1, 24, 0), nullptr);
    EXPECT_EQ(rgb.GetNearestIndex(white), 0);
    EXPECT_EQ(rgb.GetPaletteColor(0).rgbRed, 0);
}

TEST(DibOwnership, TransferMovesTheBlockAndCopyInfoNeedsAnEmptyTarget)
{
    DibImage a;
    ASSERT_NE(a.Create(6, 2, 8, 42), nullptr);
    a.GetBits(1)[5] = 33;
    const uint8_t* bits = a.GetBits(0);
    DibImage b;
    ASSERT_NE(b.Create(1, 1, 1, 0), nullptr);
    EXPECT_TRUE(b.Transfer(a));
    EXPECT_FALSE(a.IsValid());
    EXPECT_EQ(a.GetWidth(), 0u);
    EXPECT_EQ(b.GetBits(0), bits);
    EXPECT_EQ(b.GetEffWidth(), 8u);
    EXPECT_EQ(b.GetPixelIndex(5, 1), 33);

    DibImage failed;
    failed.Create(0, 1, 8, 0);
    DibImage empty, full;
    ASSERT_NE(full.Create(1, 1, 8, 0), nullptr);
    empty.CopyInfo(failed);
    full.CopyInfo(failed);
    EXPECT_STREQ(empty.GetLastError(), kNoSize);
    EXPECT_STREQ(full.GetLastError(), "");
}

} // namespace
