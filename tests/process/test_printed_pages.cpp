// Printed pages through the filter, every dot compared with the literal page
// reference: the halftone types 0 to 7, the transforms, the anti-wrinkle
// frame, the print area and the row packets.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "PrintedJob.h"
#include "StreamWords.h"
#include "korvostream/KorvoStream.h"

using namespace korvotest;
using namespace printedjob;

namespace {

class PrintedPages : public ::testing::Test {
protected:
    std::string labelPpd() { return ppdWithModel(dir, "korvr27.ppd", "TEST"); }
    std::string stencilPpd() { return ppdWithModel(dir, "korvk5.ppd", "TEST"); }

    TempDir dir;
};

// Widths that are not multiples of 4 or 8, heights of 1, 3 and 10 rows, at
// both resolutions, in one job per halftone type.
std::vector<RasterPage> smallPages(uint32_t seed)
{
    std::vector<RasterPage> pages;
    for (unsigned width : {1u, 5u, 13u, 29u, 37u}) {
        for (unsigned height : {1u, 3u, 10u}) {
            const unsigned dpi = (width + height) % 2 ? 203 : 300;
            const Shade shade = height == 10 ? photoShade(seed + width) : randomShade(seed + width);
            pages.push_back(page(width, height, dpi, "w288h432", shade));
        }
    }
    return pages;
}

TEST_F(PrintedPages, EveryDitherTypeMatchesTheReference)
{
    for (int type = 0; type <= 7; ++type) {
        pageref::JobSettings settings;
        settings.halftoneType = type;
        printAndCompare(labelPpd(), smallPages(uint32_t(type)), settings);
    }
}

TEST_F(PrintedPages, TransformsAndTheirCombinationsMatchTheReference)
{
    struct Transform {
        int brightness, contrast;
        bool rotate, mirror, negative;
    };
    const Transform transforms[] = {{20, 0, false, false, false}, {0, -30, false, false, false},
                                    {-40, 50, false, false, false}, {0, 0, true, false, false},
                                    {0, 0, false, true, false},    {0, 0, false, false, true},
                                    {10, 100, true, true, true},   {-100, -100, true, false, true}};
    const std::vector<RasterPage> pages = {page(37, 10, 203, "A4", photoShade(7)),
                                           page(13, 3, 300, "A4", randomShade(8))};
    for (const Transform& t : transforms) {
        for (int type : {0, 1, 4, 7}) {
            pageref::JobSettings settings;
            settings.halftoneType = type;
            settings.brightness = t.brightness;
            settings.contrast = t.contrast;
            settings.rotate180 = t.rotate;
            settings.mirror = t.mirror;
            settings.negative = t.negative;
            printAndCompare(labelPpd(), pages, settings);
        }
    }
}

// Worked out by hand, apart from the reference: the threshold falls between
// 128 and 129, the Bayer cells print above their entries (7 of 16 for gray
// 100), and a negative page prints its padding columns too.
TEST_F(PrintedPages, HandWorkedDots)
{
    pageref::JobSettings settings;
    const korvostream::Page threshold = korvostream::collectPages(korvostream::parseStream(
        printAndCompare(labelPpd(), {page(8, 1, 203, "A4", [](unsigned x, unsigned) { return x < 4 ? 128 : 129; })},
                        settings).out))[0];
    EXPECT_EQ(threshold.packed, std::vector<uint8_t>{0x0F});

    settings.halftoneType = 7;
    const korvostream::Page bayer = korvostream::collectPages(korvostream::parseStream(
        printAndCompare(labelPpd(), {page(4, 4, 203, "A4", [](unsigned, unsigned) { return 100; })}, settings).out))[0];
    size_t dots = 0;
    for (size_t y = 0; y < 4; ++y) {
        for (size_t x = 0; x < 4; ++x) {
            dots += bayer.dot(x, y);
        }
    }
    EXPECT_EQ(dots, 7u);

    settings.halftoneType = 0;
    settings.negative = true;
    const korvostream::Page negative = korvostream::collectPages(korvostream::parseStream(
        printAndCompare(labelPpd(), {page(5, 2, 203, "A4", [](unsigned, unsigned) { return 255; })}, settings).out))[0];
    // Index 1 becomes 254 and the three padding bytes 255: all 8 columns print.
    EXPECT_EQ(negative.packed, (std::vector<uint8_t>{0xFF, 0xFF}));
}

// Offsets centre the image on a byte boundary inside 2592 dots (1728 at
// exactly 203 dpi); an image at least that wide starts at 0.
TEST_F(PrintedPages, PrintAreaAndRowPackets)
{
    struct Case {
        unsigned width, height, dpi, offset, areaWidth;
    };
    const Case cases[] = {{2000, 10, 300, 296, 2000}, {1000, 5, 203, 360, 1000}, {1000, 4, 204, 792, 1000},
                          {37, 3, 300, 1272, 40},     {2592, 6, 300, 0, 2592},   {1728, 9, 203, 0, 1728},
                          {1800, 5, 203, 0, 1728}};
    pageref::JobSettings settings;
    for (const Case& c : cases) {
        const FilterResult result = printAndCompare(labelPpd(), {page(c.width, c.height, c.dpi, "A4", randomShade(c.width))},
                                                    settings);
        const std::vector<korvostream::Page> pages = korvostream::collectPages(korvostream::parseStream(result.out));
        ASSERT_EQ(pages.size(), 1u);
        EXPECT_EQ(pages[0].areaOffset, c.offset) << c.width << " at " << c.dpi;
        EXPECT_EQ(pages[0].areaWidth, c.areaWidth) << c.width << " at " << c.dpi;
    }
    // Ten rows go as 4, 4 and 2.
    const FilterResult result = printAndCompare(labelPpd(), {page(16, 10, 203, "A4", randomShade(1))}, settings);
    std::vector<size_t> sizes;
    for (const korvostream::Item& item : korvostream::parseStream(result.out).items) {
        if (item.is(korvostream::Command::ImageRows)) {
            sizes.push_back(item.payload.size());
        }
    }
    EXPECT_EQ(sizes, (std::vector<size_t>{8, 8, 4}));
}

TEST_F(PrintedPages, AntiWrinkleFramesMatchTheReference)
{
    struct Case {
        int level;
        const char* name;
        unsigned width, height;
    };
    const Case cases[] = {{1, "Tattoo_A6", 1180, 1393}, {2, "Tattoo_A6", 1201, 1400}, {5, "Tattoo_A5", 2000, 1000},
                          {3, "Tattoo_A6", 1300, 1500}, {4, "A5", 41, 17},             {2, "Letter", 2480, 3035}};
    for (const Case& c : cases) {
        pageref::JobSettings settings;
        settings.antiWrinkle = c.level;
        printAndCompare(stencilPpd(), {page(c.width, c.height, 300, c.name, photoShade(c.width))}, settings);
    }
}

// Level 2 on Tattoo_A6 at 300 dpi: canvas 1181 + 2 x 24 by 1394 + 2 x 12; a
// 1201 x 1400 page grows by 14 and 9 dots on each side to 1229 x 1418.
TEST_F(PrintedPages, FrameLogLines)
{
    pageref::JobSettings settings;
    settings.antiWrinkle = 2;
    const FilterResult result =
        printAndCompare(stencilPpd(), {page(1201, 1400, 300, "Tattoo_A6", randomShade(3))}, settings);
    const std::string expected =
        "DEBUG:EnableAntiWrink: AntiWrinkle level: 2, line_v: 24 points, line_h: 12 points.\n"
        "DEBUG:EnableAntiWrink: Page size is Tattoo_A6, CanvasWidth: 1229, CanvasHeight: 1418\n"
        "DEBUG:EnableAntiWrink: Image width is less than canvas width, exPoints: 14\n"
        "DEBUG:EnableAntiWrink: Image height is less than canvas height, eyPoints: 9\n"
        "DEBUG:EnableAntiWrink: Image expanded successfully.\n"
        "DEBUG:EnableAntiWrink: Drawing left line. point(0, 0, 24, 1418)\n"
        "DEBUG:EnableAntiWrink: Drawing top line. point(0, 0, 1229, 12)\n"
        "DEBUG:EnableAntiWrink: Drawing right line. point(1205, 0, 1229, 1418)\n"
        "DEBUG:EnableAntiWrink: Drawing bottom line. point(0, 1406, 1229, 1418)\n";
    EXPECT_NE(result.err.find(expected), std::string::npos) << result.err;
}

// Without an AntiWrinkle option the level is -1: the side lines would be
// some 1.69 million dots wide, the enlargement is refused and the page
// prints unframed, quickly.
TEST_F(PrintedPages, LabelPrinterFrameCodeDrawsNothing)
{
    pageref::JobSettings settings;
    for (unsigned dpi : {203u, 300u}) {
        std::vector<RasterPage> pages;
        for (const char* name : {"A4", "Letter", "Tattoo_A5", "Tattoo_A6", "w288h432"}) {
            pages.push_back(page(29, 7, dpi, name, photoShade(dpi)));
        }
        const auto start = std::chrono::steady_clock::now();
        const FilterResult result = printAndCompare(labelPpd(), pages, settings);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
        EXPECT_EQ(result.errCount("EnableAntiWrink: Failed to expand image, returning."), 4u);
    }
}

TEST_F(PrintedPages, StencilPrinterFeedsBeforeEachImage)
{
    pageref::JobSettings settings;
    settings.antiWrinkle = 0;
    const FilterResult result = printAndCompare(
        stencilPpd(), {page(16, 2, 300, "A4", randomShade(1)), page(16, 2, 203, "A4", randomShade(2))}, settings,
        "HalftoneType=None");
    EXPECT_EQ(joinWords(streamWords(result.out)),
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED0,141 AREA ROWS PC1 NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 FEED0,95 AREA "
              "ROWS PC1 PC0 PC1");
}

// The pipeline's log of one page, in order, with the values of the
// processed-image line after "width:" and "bytes per line:" the other way
// round.
TEST_F(PrintedPages, PipelineLogLinesInOrder)
{
    pageref::JobSettings settings;
    settings.negative = true;
    RasterPage padded = page(13, 3, 203, "A4", randomShade(4));
    padded.header.cupsBytesPerLine = 16;
    padded.pixels.resize(16 * 3, 0);
    const FilterResult result = printAndCompare(labelPpd(), {padded}, settings);
    const std::vector<std::string> lines = {
        "DEBUG:printImage: Start processing image, input width: 13, height: 3, bytes per line: 16",
        "DEBUG:printImage: Memory allocated successfully, size: 48 bytes",
        "DEBUG:printImage: Saving original image, file path will be generated based on time",
        "DEBUG:printImage: Memory for processing result allocated successfully, size: 48 bytes",
        "DEBUG:PageProcess: HALV dithering is disabled",
        "DEBUG:PageProcess: Successfully created DibImage from array with stride 16",
        "DEBUG:PageProcess: Applied default dithering and increased bit depth",
        "DEBUG:PageProcess: negativePrint_ 1",
        "DEBUG:PageProcess: Inverting the image for negative print",
        "DEBUG:PageProcess: Filled the output buffer with processed pixels, length: 48",
        ", width: 16, height: 3, bytes per line: 13, number of top blank lines: 0",
        "DEBUG:printImage: Saving processed image, file path will be generated based on time",
        "DEBUG:printImage: Starting to print the processed image",
        "DEBUG:doPrintImage: Input image size - width: 13, height: 3",
        "DEBUG:GrayToMono, bpl(16), h(3), skipPixels(0), wb(16)",
        "DEBUG:doPrintImage: Converted image size in bytes: 6",
        "DEBUG:SendImage sizel(13, 3), wBytes(2), blocks(0)",
        "DEBUG:doPrintImage: Image sent to the printer.",
        "DEBUG:printImage: Freed the allocated memory, address: (nil)",
        "DEBUG:printImage: Image processing completed",
    };
    size_t at = 0;
    for (const std::string& line : lines) {
        const size_t found = result.err.find(line, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << line;
        at = found + line.size();
    }
}

}  // namespace
