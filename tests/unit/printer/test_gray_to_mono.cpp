// Packing 8-bit rows to 1 bit per pixel, in place.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "OndrelPrinter.h"
#include "PrinterCapture.h"

using Bytes = std::vector<uint8_t>;

namespace {

// Slow reference: every pixel x < width of row y goes to bit 7 - (x % 8) of
// byte x / 8 of packed row y; rows are ceil(width / 8) bytes, back to back.
Bytes referencePack(const Bytes& gray, int bytesPerLine, int height, int width)
{
    const int rowBytes = (width + 7) / 8;
    Bytes packed(static_cast<size_t>(rowBytes) * height, 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (gray[static_cast<size_t>(y) * bytesPerLine + x] != 0) {
                packed[static_cast<size_t>(y) * rowBytes + x / 8] |= static_cast<uint8_t>(1u << (7 - x % 8));
            }
        }
    }
    return packed;
}

Bytes randomGray(size_t size, unsigned seed, int blankPercent)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> percent(0, 99);
    std::uniform_int_distribution<int> value(1, 255);
    Bytes gray(size);
    for (uint8_t& g : gray) {
        g = percent(rng) < blankPercent ? 0 : static_cast<uint8_t>(value(rng));
    }
    return gray;
}

}  // namespace

TEST(GrayToMono, TwentyPixelRowPacksToThreeBytesWithFourPixelsInTheLast)
{
    OndrelPrinter printer;
    // Row 0: pixels 0, 7, 8, 15, 16 and 19 set (with assorted non-zero values);
    // row 1: all set; row 2: none set.
    Bytes data(3 * 20, 0);
    data[0] = 1;
    data[7] = 255;
    data[8] = 0x80;
    data[15] = 2;
    data[16] = 9;
    data[19] = 200;
    for (int x = 0; x < 20; ++x) {
        data[20 + x] = 0x40;
    }
    EXPECT_EQ(printer.GrayToMono(20, 3, data.data()), 9);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 9),
              (Bytes{0x81, 0x81, 0x90,   //
                     0xFF, 0xFF, 0xF0,   // the low four bits of the last byte are padding
                     0x00, 0x00, 0x00}));
}

TEST(GrayToMono, SkippedRightPixelsAreLeftOut)
{
    OndrelPrinter printer;
    printer.setSkipRightPixels(4);
    // Two rows of 20: the last 4 pixels of each row are set and must vanish.
    Bytes data(2 * 20, 0);
    for (int y = 0; y < 2; ++y) {
        for (int x = 16; x < 20; ++x) {
            data[y * 20 + x] = 0xFF;
        }
    }
    data[0] = 1;    // row 0, pixel 0
    data[15] = 1;   // row 0, pixel 15
    data[20 + 9] = 1;  // row 1, pixel 9
    const std::string log = captureStderr([&] {
        EXPECT_EQ(printer.GrayToMono(20, 2, data.data()), 4);
    });
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 4), (Bytes{0x80, 0x01, 0x00, 0x40}));
    EXPECT_EQ(log, "DEBUG:GrayToMono, bpl(20), h(2), skipPixels(4), wb(16)\n");
}

TEST(GrayToMono, SkipOfTheWholeRowOrMoreIsIgnored)
{
    for (unsigned long skip : {20ul, 21ul, 1000ul}) {
        OndrelPrinter printer;
        printer.setSkipRightPixels(skip);
        Bytes data(20, 0);
        data[19] = 1;
        data[0] = 1;
        EXPECT_EQ(printer.GrayToMono(20, 1, data.data()), 3) << "skip " << skip;
        EXPECT_EQ(Bytes(data.begin(), data.begin() + 3), (Bytes{0x80, 0x00, 0x10})) << "skip " << skip;
    }
    // One less than the row length still applies: one pixel a row.
    OndrelPrinter printer;
    printer.setSkipRightPixels(19);
    Bytes data = {7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1,
                  0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(printer.GrayToMono(20, 2, data.data()), 2);
    EXPECT_EQ(data[0], 0x80);
    EXPECT_EQ(data[1], 0x00);
}

TEST(GrayToMono, ReturnsPackedBytesAndLeavesTheRestAlone)
{
    OndrelPrinter printer;
    // 9 pixels a row, 5 rows: 2 bytes a row, 10 bytes in all.
    Bytes data(5 * 9, 0x11);
    Bytes before = data;
    EXPECT_EQ(printer.GrayToMono(9, 5, data.data()), 10);
    for (size_t i = 0; i < 10; i += 2) {
        EXPECT_EQ(data[i], 0xFF);
        EXPECT_EQ(data[i + 1], 0x80);
    }
    // Bytes beyond the packed image keep their input values.
    EXPECT_EQ(Bytes(data.begin() + 10, data.end()), Bytes(before.begin() + 10, before.end()));

    Bytes untouched(8, 3);
    EXPECT_EQ(printer.GrayToMono(8, 0, untouched.data()), 0);
    EXPECT_EQ(untouched, Bytes(8, 3));
}

TEST(GrayToMono, InPlacePackingMatchesThePerPixelReference)
{
    unsigned seed = 1;
    for (int bytesPerLine : {1, 2, 7, 8, 9, 15, 16, 17, 20, 31, 33, 64, 100, 2592}) {
        for (unsigned long skip : {0ul, 1ul, 3ul, 8ul, 13ul, 2000ul}) {
            for (int blank : {0, 50, 97, 100}) {
                const int height = 1 + static_cast<int>(seed % 23);
                const Bytes gray = randomGray(static_cast<size_t>(bytesPerLine) * height, seed++, blank);
                const int width =
                    (skip != 0 && skip < static_cast<unsigned long>(bytesPerLine)) ? bytesPerLine - int(skip)
                                                                                   : bytesPerLine;
                const Bytes expected = referencePack(gray, bytesPerLine, height, width);

                OndrelPrinter printer;
                printer.setSkipRightPixels(skip);
                Bytes data = gray;
                const int packed = printer.GrayToMono(bytesPerLine, height, data.data());
                ASSERT_EQ(packed, static_cast<int>(expected.size()))
                    << "bpl " << bytesPerLine << " skip " << skip << " h " << height;
                ASSERT_EQ(Bytes(data.begin(), data.begin() + packed), expected)
                    << "bpl " << bytesPerLine << " skip " << skip << " h " << height << " blank " << blank;
            }
        }
    }
}

TEST(GrayToMono, SkipIsReadAtEachCall)
{
    OndrelPrinter printer;
    Bytes row(16, 1);
    EXPECT_EQ(printer.GrayToMono(16, 1, row.data()), 2);
    printer.setSkipRightPixels(8);
    Bytes again(16, 1);
    EXPECT_EQ(printer.GrayToMono(16, 1, again.data()), 1);
    EXPECT_EQ(again[0], 0xFF);
    printer.setSkipRightPixels(0);
    Bytes third(16, 1);
    EXPECT_EQ(printer.GrayToMono(16, 1, third.data()), 2);
}
