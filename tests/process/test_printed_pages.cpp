// What the printer receives for each page: the print area and every dot of
// the image rows, for each halftone type, brightness and contrast, rotation,
// mirroring, negative printing and the anti-wrinkle frame, compared with the
// reference model of tests/process/reference. A few cases are also worked
// out by hand, so that the model and the filter cannot share a misreading.
#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "FilterProcess.h"
#include "PageReference.h"
#include "PrintedJob.h"
#include "RasterFile.h"
#include "StreamWords.h"

using namespace korvotest;
using namespace printedjob;

namespace {

const char* const kTypeNames[] = {"None",   "FloydSteinberg",    "Ordered", "Burkes",
                                  "Stucki", "JarvisJudiceNinke", "Sierra",  "StevensonArce"};

const char* const kLabelPpd = "korvr27.ppd";    // no AntiWrinkle option: level -1, no pre-feed
const char* const kStencilPpd = "korvk5.ppd";  // AntiWrinkle option: pre-feed before each image

std::string optionsFor(const pageref::JobSettings& s, bool stencil)
{
    std::ostringstream text;
    text << "HalftoneType=" << kTypeNames[s.halftoneType];
    if (s.brightness != 0) {
        text << " Brightness=" << s.brightness;
    }
    if (s.contrast != 0) {
        text << " Contrast=" << s.contrast;
    }
    if (s.rotate180) {
        text << " Origin=Rotation180";
    }
    if (s.mirror) {
        text << " MirrorImage=True";
    }
    if (s.negative) {
        text << " NegativeImage=True";
    }
    if (stencil) {
        text << " AntiWrinkle=" << s.antiWrinkle;
    }
    return text.str();
}

class PrintedPages : public ::testing::Test {
protected:
    FilterResult print(const char* ppdFile, const std::vector<RasterPage>& pages, const pageref::JobSettings& s)
    {
        const bool stencil = std::string(ppdFile) == kStencilPpd;
        return runJob(dir, ppdWithModel(dir, ppdFile, "TEST"), pages, optionsFor(s, stencil), captures.path());
    }

    // Prints the pages and compares every one with the reference.
    FilterResult printAndCompare(const char* ppdFile, const std::vector<RasterPage>& pages,
                                 const pageref::JobSettings& s)
    {
        const FilterResult result = print(ppdFile, pages, s);
        expectPagesAsReference(result, pages, s);
        return result;
    }

    std::vector<SentImage> sent(const FilterResult& result) { return sentImagesOrFail(result); }

    TempDir dir;
    TempDir captures;
};

bool dotAt(const SentImage& image, size_t rowBytes, size_t x, size_t y)
{
    return (image.packed.at(y * rowBytes + x / 8) >> (7 - x % 8)) & 1;
}

// ---------------------------------------------------------------------------
// Cases worked out by hand.

// The plain threshold: 128 stays blank, 129 prints. Width 8 has no row
// padding, so the rows are exactly one byte.
TEST_F(PrintedPages, ThresholdPrintsFrom129Up)
{
    const RasterPage p = page(8, 4, 203, "A4", [](unsigned x, unsigned y) {
        return static_cast<uint8_t>(y == 0 ? 128 : y == 1 ? 129 : y == 2 ? (x < 4 ? 0 : 255) : 127 + x);
    });
    pageref::JobSettings s;
    const FilterResult result = print(kLabelPpd, {p}, s);
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].packed, (std::vector<uint8_t>{0x00, 0xFF, 0x0F, 0x3F}));
}

// "StevensonArce" (7) is the generated Bayer matrix: a uniform gray of 100
// prints where the matrix entry is below 100.
TEST_F(PrintedPages, BayerAtGray100PrintsSevenCellsOfSixteen)
{
    const int entries[4][4] = {{0, 192, 48, 240}, {128, 64, 176, 112}, {32, 224, 16, 208}, {160, 96, 144, 80}};
    pageref::JobSettings s;
    s.halftoneType = 7;
    const FilterResult result = print(kLabelPpd, {uniformPage(16, 8, 300, 100)}, s);
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), 1u);
    ASSERT_EQ(images[0].packed.size(), 16u);
    int printed = 0;
    for (size_t y = 0; y < 8; ++y) {
        for (size_t x = 0; x < 16; ++x) {
            const bool expected = 100 > entries[y % 4][x % 4];
            EXPECT_EQ(dotAt(images[0], 2, x, y), expected) << "(" << x << ", " << y << ")";
            printed += dotAt(images[0], 2, x, y);
        }
    }
    EXPECT_EQ(printed, 7 * 8);
}

// "FloydSteinberg" (1) is the 4 by 4 ordered matrix: gray 128 prints where
// the matrix value is below 8, gray 255 everywhere, gray 0 nowhere.
TEST_F(PrintedPages, OrderedMatrixPrintsHalfTheCellsAtGray128)
{
    const int matrix[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    pageref::JobSettings s;
    s.halftoneType = 1;
    const RasterPage p = page(8, 12, 203, "A4", [](unsigned, unsigned y) {
        return static_cast<uint8_t>(y < 4 ? 128 : y < 8 ? 255 : 0);
    });
    const FilterResult result = print(kLabelPpd, {p}, s);
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), 1u);
    ASSERT_EQ(images[0].packed.size(), 12u);
    for (size_t y = 0; y < 12; ++y) {
        for (size_t x = 0; x < 8; ++x) {
            const bool expected = y < 4 ? matrix[y % 4][x % 4] < 8 : y < 8;
            EXPECT_EQ(dotAt(images[0], 1, x, y), expected) << "(" << x << ", " << y << ")";
        }
    }
}

// A negative page on the dither path holds only 255 and 254, and the row
// padding becomes 255 as well: every dot of every packed row prints.
TEST_F(PrintedPages, NegativeAfterDitherPrintsEveryDotIncludingPadding)
{
    pageref::JobSettings s;
    s.negative = true;
    const FilterResult result = print(kLabelPpd, {page(5, 3, 203, "w288h432", randomShade(3))}, s);
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].areaWidth, 8u);
    EXPECT_EQ(images[0].packed, std::vector<uint8_t>(3, 0xFF));
}

// Rotation and mirroring together flip the page top to bottom.
TEST_F(PrintedPages, RotationThenMirrorFlipsVertically)
{
    const RasterPage p = page(8, 3, 203, "A4", [](unsigned x, unsigned y) {
        return static_cast<uint8_t>((y == 0 && x < 3) || (y == 2 && x == 7) ? 255 : 0);
    });
    pageref::JobSettings s;
    s.rotate180 = true;
    s.mirror = true;
    const FilterResult result = print(kLabelPpd, {p}, s);
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].packed, (std::vector<uint8_t>{0x01, 0x00, 0xE0}));
}

// ---------------------------------------------------------------------------
// Every halftone type on pages of awkward sizes at both resolutions.

class HalftoneTypes : public PrintedPages, public ::testing::WithParamInterface<int> {};

TEST_P(HalftoneTypes, EveryDotAsTheReference)
{
    std::vector<RasterPage> pages;
    size_t index = 0;
    for (unsigned dpi : {203u, 300u}) {
        for (unsigned width : {1u, 5u, 13u, 29u, 37u}) {
            for (unsigned height : {1u, 3u, 10u}) {
                pages.push_back(page(width, height, dpi, "A4", shadeByIndex(index + GetParam(), width, height)));
                ++index;
            }
        }
    }
    pageref::JobSettings s;
    s.halftoneType = GetParam();
    s.antiWrinkle = 0;
    printAndCompare(kStencilPpd, pages, s);
}

INSTANTIATE_TEST_SUITE_P(Types, HalftoneTypes, ::testing::Range(0, 8),
                         [](const ::testing::TestParamInfo<int>& info) { return kTypeNames[info.param]; });

// ---------------------------------------------------------------------------
// Brightness, contrast, rotation, mirror and negative, alone and combined,
// under every halftone type, on the label model (frame level -1).

struct TransformCase {
    const char* name;
    bool brightness;
    bool contrast;
    bool rotate;
    bool mirror;
    bool negative;
};

const TransformCase kTransforms[] = {
    {"Brightness", true, false, false, false, false},
    {"Contrast", false, true, false, false, false},
    {"BrightnessContrast", true, true, false, false, false},
    {"Rotation", false, false, true, false, false},
    {"Mirror", false, false, false, true, false},
    {"Negative", false, false, false, false, true},
    {"RotationMirror", false, false, true, true, false},
    {"Everything", true, true, true, true, true},
    {"ContrastMirrorNegative", false, true, false, true, true},
};

class Transforms : public PrintedPages, public ::testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(Transforms, EveryDotAsTheReference)
{
    const auto [transform, type] = GetParam();
    const TransformCase& t = kTransforms[transform];
    static const int kBrightness[] = {-100, -60, -30, -10, 10, 20, 50, 100};
    static const int kContrast[] = {-100, -50, -20, 10, 30, 60, 90, 100};
    pageref::JobSettings s;
    s.halftoneType = type;
    s.brightness = t.brightness ? kBrightness[(type + transform) % 8] : 0;
    s.contrast = t.contrast ? kContrast[(type * 3 + transform) % 8] : 0;
    s.rotate180 = t.rotate;
    s.mirror = t.mirror;
    s.negative = t.negative;
    s.antiWrinkle = -1;
    struct Size {
        unsigned width, height, dpi;
    };
    const Size sizes[] = {{1, 1, 203},  {5, 3, 300},  {13, 10, 203}, {29, 1, 300}, {37, 3, 203},  {5, 10, 300},
                          {13, 1, 300}, {29, 10, 203}, {37, 10, 300}, {1, 10, 203}, {16, 3, 203}, {7, 4, 300}};
    const char* names[] = {"A4", "Letter", "Tattoo_A5", "Tattoo_A6", "w288h432", "Receipt_58mm"};
    std::vector<RasterPage> pages;
    size_t index = 0;
    for (const Size& size : sizes) {
        pages.push_back(page(size.width, size.height, size.dpi, names[index % 6],
                             shadeByIndex(index * 7 + transform + type, size.width, size.height)));
        ++index;
    }
    printAndCompare(kLabelPpd, pages, s);
}

INSTANTIATE_TEST_SUITE_P(
    Combinations, Transforms,
    ::testing::Combine(::testing::Range(0, static_cast<int>(std::size(kTransforms))), ::testing::Range(0, 8)),
    [](const ::testing::TestParamInfo<std::tuple<int, int>>& info) {
        return std::string(kTransforms[std::get<0>(info.param)].name) + "_" + kTypeNames[std::get<1>(info.param)];
    });

// Every brightness and contrast choice of the PPD, alone and mixed, on a
// ramp through all 256 levels; threshold and the ordered matrix, so that the
// dots show the lookup table.
TEST_F(PrintedPages, EveryBrightnessAndContrastChoice)
{
    const RasterPage ramp = page(256, 4, 300, "w288h432", [](unsigned x, unsigned) { return uint8_t(x); });
    std::vector<std::pair<int, int>> choices;
    for (int i = 0; i <= 20; ++i) {
        const int value = -100 + 10 * i;
        choices.push_back({value, 0});
        choices.push_back({0, value});
        choices.push_back({value, -100 + 10 * ((i * 8) % 21)});
    }
    int run = 0;
    for (const auto& [brightness, contrast] : choices) {
        pageref::JobSettings s;
        s.brightness = brightness;
        s.contrast = contrast;
        s.halftoneType = run++ % 2;
        const FilterResult result = print(kLabelPpd, {ramp}, s);
        SCOPED_TRACE("brightness " + std::to_string(brightness) + " contrast " + std::to_string(contrast));
        expectPagesAsReference(result, {ramp}, s);
    }
}

// ---------------------------------------------------------------------------
// Several pages in one job: each page is processed on its own, whatever the
// page before it left behind (sizes, resolutions, content).

TEST_F(PrintedPages, PagesOfOneJobAreIndependent)
{
    std::vector<RasterPage> pages = {
        page(37, 10, 300, "A4", photoShade(1)),
        page(5, 3, 203, "Letter", gradientShade(5, 3)),
        page(1, 1, 300, "Tattoo_A6", [](unsigned, unsigned) { return uint8_t(255); }),
        page(29, 10, 203, "Other", randomShade(9)),
        page(13, 3, 300, "A4", [](unsigned, unsigned) { return uint8_t(0); }),
        page(37, 1, 203, "Tattoo_A5", edgeShade(4)),
    };
    for (int type : {0, 3, 7}) {
        pageref::JobSettings s;
        s.halftoneType = type;
        s.mirror = type == 3;
        s.brightness = type == 7 ? 30 : 0;
        SCOPED_TRACE(kTypeNames[type]);
        const FilterResult result = printAndCompare(kLabelPpd, pages, s);
        EXPECT_TRUE(result.errHasLine("INFO: page 6"));
    }
}

// ---------------------------------------------------------------------------
// Print area and row packets.

struct AreaCase {
    unsigned width;
    unsigned dpi;
    unsigned offset;
    unsigned areaWidth;
    size_t rowBytes;
};

TEST_F(PrintedPages, PrintAreaCentresNarrowImagesAndFillsWideOnes)
{
    // offset = ((printable - width) / 2) / 8 * 8 and area = row bytes * 8 for
    // narrow images; offset 0 and the whole printable width otherwise. The
    // row is the padded image row (a multiple of 4 bytes) packed 8 to a byte.
    const AreaCase cases[] = {
        {2000, 300, 296, 2000, 250}, {37, 300, 1272, 40, 5},    {1728, 300, 432, 1728, 216},
        {2591, 300, 0, 2592, 324},   {2592, 300, 0, 2592, 324}, {2593, 300, 0, 2592, 325},
        {2600, 300, 0, 2592, 325},   {1000, 203, 360, 1000, 125}, {13, 203, 856, 16, 2},
        {1727, 203, 0, 1728, 216},   {1728, 203, 0, 1728, 216}, {1730, 203, 0, 1728, 217},
        {2592, 203, 0, 1728, 324},   {1000, 204, 792, 1000, 125}, {2592, 204, 0, 2592, 324},
        {1728, 204, 432, 1728, 216},
    };
    std::vector<RasterPage> pages;
    size_t index = 0;
    for (const AreaCase& c : cases) {
        pages.push_back(page(c.width, 2, c.dpi, "w288h432", shadeByIndex(index++, c.width, 2)));
    }
    pageref::JobSettings s;
    const FilterResult result = print(kLabelPpd, pages, s);
    expectPagesAsReference(result, pages, s);
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) {
        const AreaCase& c = cases[i];
        SCOPED_TRACE(std::to_string(c.width) + " wide at " + std::to_string(c.dpi) + " dpi");
        EXPECT_EQ(images[i].areaOffset, c.offset);
        EXPECT_EQ(images[i].areaWidth, c.areaWidth);
        EXPECT_EQ(images[i].packetSizes, std::vector<size_t>{2 * c.rowBytes});
    }
}

TEST_F(PrintedPages, RowsGoFourToAPacketWithTheRestLast)
{
    std::vector<RasterPage> pages;
    for (unsigned height = 1; height <= 10; ++height) {
        pages.push_back(page(13, height, 203, "w288h432", randomShade(height)));
    }
    pageref::JobSettings s;
    const FilterResult result = print(kLabelPpd, pages, s);
    expectPagesAsReference(result, pages, s);
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), 10u);
    for (size_t height = 1; height <= 10; ++height) {
        std::vector<size_t> expected(height / 4, 4 * 2);  // 13 pixels: a 16-byte row, 2 packed bytes
        if (height % 4 != 0) {
            expected.push_back(height % 4 * 2);
        }
        EXPECT_EQ(images[height - 1].packetSizes, expected) << height << " rows";
    }
}

// ---------------------------------------------------------------------------
// The stencil model feeds resolution * 120 / 254 lines before each image;
// the label model never does.

TEST_F(PrintedPages, StencilModelFeedsBeforeEachImage)
{
    const std::vector<RasterPage> pages = {page(13, 3, 300, "Tattoo_A6", randomShade(1)),
                                           page(13, 3, 203, "Tattoo_A6", randomShade(2))};
    pageref::JobSettings s;
    s.antiWrinkle = 0;
    const FilterResult result = printAndCompare(kStencilPpd, pages, s);
    EXPECT_EQ(joinWords(streamWords(result.out)),
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED0,141 AREA ROWS PC1 "
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 FEED0,95 AREA ROWS PC1 PC0 PC1");
    EXPECT_TRUE(result.errHasLine("DEBUG:doPrintImage: Tatto printer detected. Fed 141 lines before printing."));
    EXPECT_TRUE(result.errHasLine("DEBUG:doPrintImage: Tatto printer detected. Fed 95 lines before printing."));

    const FilterResult label = print(kLabelPpd, pages, s);
    EXPECT_EQ(joinWords(streamWords(label.out)),
              "NUL*64 PC0 DENSITY8 PC1 PC0 AREA ROWS PC1 NUL*64 PC0 DENSITY8 PC1 PC0 AREA ROWS PC1 PC0 PC1");
    EXPECT_EQ(label.errCount("Tatto printer detected"), 0u);
}

// ---------------------------------------------------------------------------
// The anti-wrinkle frame on the stencil model.

struct FramePage {
    unsigned width;
    unsigned height;
    unsigned dpi;
    const char* sizeName;
};

struct FrameCase {
    const char* name;
    int level;
    int halftoneType;
    bool negative;
    bool rotateMirror;
    std::vector<FramePage> pages;
};

const FrameCase kFrames[] = {
    {"Level1Canvases203", 1, 0, false, false,
     {{13, 3, 203, "Tattoo_A6"}, {29, 10, 203, "Tattoo_A5"}, {5, 1, 203, "Letter"}, {37, 3, 203, "A4"},
      {13, 10, 203, "A5"}}},
    {"Level2Canvases300Negative", 2, 2, true, false,
     {{1, 1, 300, "Tattoo_A6"}, {30, 10, 300, "Tattoo_A5"}, {29, 3, 300, "Letter"}, {5, 3, 300, "tattoo_a6"}}},
    // Level 3 at 203 dpi: canvas 847 x 959 for Tattoo_A6. Larger in both
    // directions (odd excess), wider only (odd height difference) and taller
    // only.
    {"Level3LargerThanTheCanvas", 3, 0, false, false,
     {{850, 962, 203, "Tattoo_A6"}, {900, 4, 203, "Tattoo_A6"}, {5, 980, 203, "Tattoo_A6"}}},
    // Level 4 at 300 dpi: odd differences leave the enlarged image one dot
    // short of the canvas (Tattoo_A6: 1275 x 1418); an image one dot larger
    // than the canvas is not moved (offsets 0, but logged).
    {"Level4OddDifferences", 4, 5, false, true,
     {{2, 2, 300, "Tattoo_A6"}, {37, 10, 300, "Tattoo_A5"}, {4, 7, 203, "Tattoo_A6"},
      {1276, 1419, 300, "Tattoo_A6"}}},
    // Level 5, Letter at 300 dpi: the framed image is wider than the printable
    // width.
    {"Level5WiderThanThePrintableWidth", 5, 0, false, false,
     {{13, 3, 300, "Letter"}, {8, 8, 300, "Unknown"}}},
};

class Frames : public PrintedPages, public ::testing::WithParamInterface<int> {};

TEST_P(Frames, EveryDotAndLogLineAsTheReference)
{
    const FrameCase& c = kFrames[GetParam()];
    std::vector<RasterPage> pages;
    size_t index = 0;
    for (const FramePage& p : c.pages) {
        pages.push_back(page(p.width, p.height, p.dpi, p.sizeName, shadeByIndex(index++, p.width, p.height)));
    }
    pageref::JobSettings s;
    s.antiWrinkle = c.level;
    s.halftoneType = c.halftoneType;
    s.negative = c.negative;
    s.rotate180 = c.rotateMirror;
    s.mirror = c.rotateMirror;
    s.brightness = c.rotateMirror ? 30 : 0;
    const FilterResult result = printAndCompare(kStencilPpd, pages, s);
    const auto logs = linesByPage(result.err, {"DEBUG:EnableAntiWrink:"});
    ASSERT_EQ(logs.size(), pages.size());
    for (size_t i = 0; i < pages.size(); ++i) {
        std::vector<std::string> expected;
        for (const std::string& line : pageref::processPage(pageInput(pages[i]), s).frameLog) {
            expected.push_back("DEBUG:" + line);
        }
        EXPECT_EQ(logs[i], expected) << "page " << i + 1;
    }
}

INSTANTIATE_TEST_SUITE_P(Stencil, Frames, ::testing::Range(0, static_cast<int>(std::size(kFrames))),
                         [](const ::testing::TestParamInfo<int>& info) { return kFrames[info.param].name; });

// Level 2, A4 at 300 dpi, an image of exactly the canvas without its lines:
// canvas 2410 x 3272, enlarged by 24 columns and 12 rows on each side.
TEST_F(PrintedPages, A4FrameAt300DpiGrowsTheImageByTheLines)
{
    const std::vector<RasterPage> pages = {page(2362, 3248, 300, "A4", gradientShade(2362, 3248))};
    pageref::JobSettings s;
    s.antiWrinkle = 2;
    const FilterResult result = printAndCompare(kStencilPpd, pages, s);
    for (const char* line : {"DEBUG:EnableAntiWrink: AntiWrinkle level: 2, line_v: 24 points, line_h: 12 points.",
                             "DEBUG:EnableAntiWrink: Page size is A4, CanvasWidth: 2410, CanvasHeight: 3272",
                             "DEBUG:EnableAntiWrink: Image width is less than canvas width, exPoints: 24",
                             "DEBUG:EnableAntiWrink: Image height is less than canvas height, eyPoints: 12",
                             "DEBUG:EnableAntiWrink: Image expanded successfully.",
                             "DEBUG:EnableAntiWrink: Drawing left line. point(0, 0, 24, 3272)",
                             "DEBUG:EnableAntiWrink: Drawing top line. point(0, 0, 2410, 12)"}) {
        EXPECT_TRUE(result.errHasLine(line)) << line;
    }
    const std::vector<SentImage> images = sent(result);
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].areaOffset, (2592u - 2410u) / 2 / 8 * 8);
    EXPECT_EQ(images[0].areaWidth, 2416u);  // 2412-byte rows packed into 302 bytes
    EXPECT_EQ(images[0].packed.size(), 302u * 3272u);
}

// ---------------------------------------------------------------------------
// The label model has no AntiWrinkle option: level -1 makes the side lines
// about 1.69 million dots thick, the enlargement is refused for the known
// canvases and nothing is drawn; the page prints unframed and fast.

TEST_F(PrintedPages, LabelModelLevelMinusOnePrintsUnframed)
{
    const char* names[] = {"A4", "Letter", "Tattoo_A5", "Tattoo_A6", "Custom.100x150mm"};
    std::vector<RasterPage> pages;
    size_t index = 0;
    for (unsigned dpi : {203u, 300u}) {
        for (const char* name : names) {
            const unsigned width = index % 2 ? 29 : 13;
            const unsigned height = index % 3 ? 10 : 3;
            pages.push_back(page(width, height, dpi, name, shadeByIndex(index++, width, height)));
        }
    }
    pages.push_back(page(640, 480, 300, "A4", photoShade(5)));
    pageref::JobSettings s;
    s.antiWrinkle = -1;
    s.halftoneType = 3;
    const auto start = std::chrono::steady_clock::now();
    const FilterResult result = print(kLabelPpd, pages, s);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    expectPagesAsReference(result, pages, s);
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 10000);
    EXPECT_EQ(result.errCount("EnableAntiWrink: Failed to expand image, returning."), 9u);
    const auto logs = linesByPage(result.err, {"DEBUG:EnableAntiWrink:"});
    ASSERT_EQ(logs.size(), pages.size());
    for (size_t i = 0; i < pages.size(); ++i) {
        std::vector<std::string> expected;
        for (const std::string& line : pageref::processPage(pageInput(pages[i]), s).frameLog) {
            expected.push_back("DEBUG:" + line);
        }
        EXPECT_EQ(logs[i], expected) << "page " << i + 1;
    }
    // The side lines as the unsigned arithmetic gives them.
    EXPECT_TRUE(result.errHasLine("DEBUG:EnableAntiWrink: AntiWrinkle level: -1, line_v: " +
                                  std::to_string(pageref::lineV(-1, 300)) + " points, line_h: 12 points."));
    EXPECT_EQ(pageref::lineV(-1, 300), ((4294967296u - 30000u) / 254 + 5) / 10);
}

// ---------------------------------------------------------------------------
// The debug lines of one page, in order.

TEST_F(PrintedPages, LogLinesOfOnePageInOrder)
{
    const std::vector<RasterPage> pages = {page(13, 5, 300, "A4", randomShade(8))};
    pageref::JobSettings s;
    s.brightness = 10;
    s.contrast = 20;
    s.rotate180 = true;
    s.mirror = true;
    s.negative = true;
    s.antiWrinkle = 0;
    const FilterResult result = printAndCompare(kStencilPpd, pages, s);
    const auto logs = linesByPage(result.err, {"DEBUG:printImage", "DEBUG:PageProcess", "DEBUG:doPrintImage",
                                               "DEBUG:GrayToMono", "DEBUG:SendImage", "DEBUG:EnableAntiWrink"});
    ASSERT_EQ(logs.size(), 1u);
    // 13 pixels: rows of 16 bytes, packed into 2; 5 rows: one block of 4.
    const std::vector<std::string> expected = {
        "printImage: Start processing image, input width: 13, height: 5, bytes per line: 13",
        "printImage: Memory allocated successfully, size: 65 bytes",
        "printImage: Saving original image, file path will be generated based on time",
        "printImage: Memory for processing result allocated successfully, size: 65 bytes",
        "PageProcess: HALV dithering is disabled",
        "PageProcess: Successfully created DibImage from array with stride 13",
        "PageProcess: Adjusted brightness to 50 and contrast to 40",
        "PageProcess: Rotated the image 180 degrees",
        "PageProcess: Mirrored the image",
        "PageProcess: Applied default dithering and increased bit depth",
        "PageProcess: negativePrint_ 1",
        "PageProcess: Inverting the image for negative print",
        "PageProcess: Filled the output buffer with processed pixels, length: 80",
        "printImage: Processed image information - pointer address: @, width: 13, height: 5, bytes per line: 13, "
        "number of top blank lines: 0, number of bottom blank lines: 0, adjusted height: 5",
        "printImage: Saving processed image, file path will be generated based on time",
        "printImage: Starting to print the processed image",
        "doPrintImage: Input image size - width: 13, height: 5",
        "GrayToMono, bpl(16), h(5), skipPixels(0), wb(16)",
        "doPrintImage: Converted image size in bytes: 10",
        "doPrintImage: Tatto printer detected. Fed 141 lines before printing.",
        "SendImage sizel(13, 5), wBytes(2), blocks(1)",
        "doPrintImage: Image sent to the printer.",
        "printImage: Freed the allocated memory, address: @",
        "printImage: Freed the memory for processing result, address: @",
        "printImage: Image processing completed",
    };
    ASSERT_EQ(logs[0].size(), expected.size()) << result.err;
    const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    for (size_t i = 0; i < expected.size(); ++i) {
        std::string pattern = "DEBUG:" + std::regex_replace(expected[i], special, R"(\$&)");
        pattern = std::regex_replace(pattern, std::regex("@"), R"(\S+)");
        EXPECT_TRUE(std::regex_match(logs[0][i], std::regex(pattern)))
            << "line " << i << ": " << logs[0][i] << "\nexpected: " << expected[i];
    }
    // The work block is freed and its pointer cleared before the line.
    EXPECT_TRUE(std::regex_match(logs[0][22], std::regex(R"(.*address: (\(nil\)|0x0|0|\(null\)))")))
        << logs[0][22];
}

// The page with the swapped values visible: the raster's lines are padded
// to 16 bytes for a 13-pixel page, so "width:" shows 16 and "bytes per
// line:" 13 in the processed-image line.
TEST_F(PrintedPages, ProcessedImageLineShowsBytesPerLineAsWidth)
{
    RasterPage p = page(13, 2, 300, "A4", randomShade(4));
    p.header.cupsBytesPerLine = 16;
    p.pixels.assign(16 * 2, 0);
    for (size_t i = 0; i < p.pixels.size(); ++i) {
        p.pixels[i] = static_cast<uint8_t>(i * 37);
    }
    pageref::JobSettings s;
    s.antiWrinkle = 0;
    const FilterResult result = print(kStencilPpd, {p}, s);
    ASSERT_EQ(result.exitStatus, 0);
    if (!result.errHasLine("INFO: page 1")) {
        GTEST_SKIP() << "the raster library refuses a header whose line length is not the width";
    }
    expectPagesAsReference(result, {p}, s);
    EXPECT_TRUE(result.errHasLine(
        "DEBUG:printImage: Start processing image, input width: 13, height: 2, bytes per line: 16"));
    const std::regex processed(
        R"(DEBUG:printImage: Processed image information - pointer address: \d+, width: 16, height: 2, )"
        R"(bytes per line: 13, number of top blank lines: 0, number of bottom blank lines: 0, adjusted height: 2)");
    EXPECT_TRUE(std::regex_search(result.err, processed)) << result.err;
}

}  // namespace
