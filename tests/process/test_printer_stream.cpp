// SPDX-License-Identifier: Apache-2.0
// Whole jobs through the built filter, as the printer receives them: the
// packet bytes, the job start and end sequences and the media actions; and
// printed pages, every dot compared with the literal page reference: every
// halftone type, the transforms, random page shapes for the optimised
// kernels, the anti-wrinkle frame, the print area and the row packets, and
// tattoo pages whose halftoning never ends without the toolkit's guards.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <ctime>
#include <random>

#include "FilterProcess.h"
#include "PageReference.h"
#include "TattooReference.h"

using namespace korvotest;

namespace {

const char* const kTypeNames[] = {"None",   "FloydSteinberg", "Ordered", "Burkes",   "Stucki", "JarvisJudiceNinke",
                                  "Sierra", "StevensonArce",  "Tattoo",  "Tattoo_Q6"};

// The page as the reference prints it: its print area, every dot, and its
// rows in packets of four (the last one the rest) after the print area.
void expectSamePage(const korvostream::Stream& stream, const korvostream::Page& actual,
                    const pageref::Printed& expected)
{
    EXPECT_EQ((std::vector<size_t>{actual.areaOffset, actual.areaWidth, actual.rowBytes, actual.rows}),
              (std::vector<size_t>{expected.areaOffset, expected.areaWidth, expected.rowBytes, expected.rows}));
    std::vector<size_t> packets;
    auto item = std::find_if(stream.items.begin(), stream.items.end(),
                             [&](const korvostream::Item& i) { return i.offset == actual.offset; });
    while (item != stream.items.end() && ++item != stream.items.end() && item->is(korvostream::Command::ImageRows)) {
        packets.push_back(item->payload.size());
    }
    std::vector<size_t> expectedPackets;
    for (size_t row = 0; row < expected.rows; row += 4) {
        expectedPackets.push_back(std::min<size_t>(4, expected.rows - row) * expected.rowBytes);
    }
    EXPECT_EQ(packets, expectedPackets);
    const auto differ =
        std::mismatch(actual.packed.begin(), actual.packed.end(), expected.packed.begin(), expected.packed.end());
    const size_t at = size_t(differ.first - actual.packed.begin());
    EXPECT_TRUE(differ.first == actual.packed.end() && differ.second == expected.packed.end())
        << "row " << at / std::max<size_t>(actual.rowBytes, 1) << " differs at byte "
        << at % std::max<size_t>(actual.rowBytes, 1);
}

// Prints the job with the options of the settings, expects every printed
// page, in order, to be exactly what the reference gives, and returns the
// printed pages.
std::vector<korvostream::Page> printAndCompare(Job job, const pageref::JobSettings& s)
{
    job.options = std::string("HalftoneType=") + kTypeNames[s.halftoneType] +
                  " Brightness=" + std::to_string(s.brightness) + " Contrast=" + std::to_string(s.contrast) +
                  " Origin=" + (s.rotate180 ? "Rotation180" : "Normal") +
                  " MirrorImage=" + (s.mirror ? "True" : "False") + " NegativeImage=" + (s.negative ? "True" : "False");
    if (s.antiWrinkle >= 0) {
        job.options += " AntiWrinkle=" + std::to_string(s.antiWrinkle);
    }
    const FilterResult result = print(job);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    const korvostream::Stream stream = korvostream::parseStream(result.out);
    EXPECT_TRUE(stream.errors.empty());
    const std::vector<korvostream::Page> printed = korvostream::collectPages(stream);
    EXPECT_EQ(printed.size(), job.pages.size()) << job.options;
    for (size_t i = 0; i < printed.size() && i < job.pages.size(); ++i) {
        const cups_page_header2_t& header = job.pages[i].header;
        const pageref::PageInput input{job.pages[i].pixels,     header.cupsWidth,       header.cupsHeight,
                                       header.cupsBytesPerLine, header.HWResolution[0], header.cupsPageSizeName};
        SCOPED_TRACE("page " + std::to_string(i + 1) + " of a job with " + job.options);
        expectSamePage(stream, printed[i], pageref::processPage(input, s));
    }
    return printed;
}

// Every halftone type with the transforms, and the optimised kernels
// (vector rows, interleaved diffusion rows, pages loaded and released in
// bands) on random shapes, from one pixel to past every vector width and
// band, as the literal reference prints them.
TEST(PrintedPages, RandomShapesMatchTheReference)
{
    std::mt19937 random(20261123);
    std::vector<RasterPage> pages;
    for (uint32_t i = 0; i < 24; ++i) {
        const unsigned width = 1 + random() % 70;
        const unsigned height = 1 + random() % 20;
        pages.push_back(grayPage(width, height, i % 2 ? 203 : 300, i % 3 ? photoShade(i) : randomShade(i), "w288h432"));
    }
    pages.push_back(grayPage(1001, 2200, 300, photoShade(25)));
    pages.push_back(grayPage(2480, 23, 203, randomShade(26)));
    // Brightness, contrast, rotation, mirror, negative, alone and together.
    const pageref::JobSettings transforms[] = {
        {}, {0, 30, -20, true, true, true}, {0, -40, 50, false, true, false}, {0, 0, 0, true, false, true}};
    for (int type = 0; type <= 9; ++type) {
        for (pageref::JobSettings settings : transforms) {
            settings.halftoneType = type;
            settings.antiWrinkle = type >= 8 ? 0 : -1;
            printAndCompare({.ppd = type >= 8 ? "korvk5.ppd" : "korvr27.ppd", .pages = pages}, settings);
        }
    }
}

// Worked out by hand, apart from the reference: the threshold falls between
// 128 and 129, the Bayer cells print above their entries (7 of 16 for gray
// 100), and a negative page prints its padding columns too (index 1 becomes
// 254 and the three padding bytes 255).
TEST(PrintedPages, HandWorkedDots)
{
    const Shade halves = [](unsigned x, unsigned) { return x < 4 ? 128 : 129; };
    EXPECT_EQ(printAndCompare({.pages = {grayPage(8, 1, 203, halves)}}, {})[0].packed, std::vector<uint8_t>{0x0F});
    const korvostream::Page bayer = printAndCompare({.pages = {uniformPage(4, 4, 203, 100)}}, {.halftoneType = 7})[0];
    EXPECT_EQ(bayer.packed, (std::vector<uint8_t>{0xA0, 0x40, 0xA0, 0x50}));
    const korvostream::Page negative = printAndCompare({.pages = {uniformPage(5, 2, 203, 255)}}, {.negative = true})[0];
    EXPECT_EQ(negative.packed, (std::vector<uint8_t>{0xFF, 0xFF}));
}

// Offsets centre the image on a byte boundary inside 2592 dots (1728 at
// exactly 203 dpi); an image at least that wide starts at 0. Ten rows go
// in packets of 4, 4 and 2 (checked by the comparison).
TEST(PrintedPages, PrintArea)
{
    struct Case {
        unsigned width, height, dpi, offset, areaWidth;
    };
    const Case cases[] = {{2000, 10, 300, 296, 2000}, {1000, 5, 203, 360, 1000}, {1000, 4, 204, 792, 1000},
                          {37, 3, 300, 1272, 40},     {2592, 6, 300, 0, 2592},   {1728, 9, 203, 0, 1728},
                          {1800, 5, 203, 0, 1728}};
    for (const Case& c : cases) {
        const std::vector<korvostream::Page> pages =
            printAndCompare({.pages = {grayPage(c.width, c.height, c.dpi, randomShade(c.width))}}, {});
        ASSERT_EQ(pages.size(), 1u);
        EXPECT_EQ(pages[0].areaOffset, c.offset) << c.width << " at " << c.dpi;
        EXPECT_EQ(pages[0].areaWidth, c.areaWidth) << c.width << " at " << c.dpi;
    }
}

// Frames on the stencil printers; without an AntiWrinkle option (the label
// printers) the level is -1, the side lines would be some 1.69 million dots
// wide, the enlargement is refused and the page prints unframed, quickly.
TEST(PrintedPages, AntiWrinkleFramesMatchTheReference)
{
    struct Case {
        int level;
        const char* name;
        unsigned width, height;
    };
    const Case cases[] = {{1, "Tattoo_A6", 1180, 1393},
                          {2, "Tattoo_A6", 1201, 1400},
                          {5, "Tattoo_A5", 2000, 1000},
                          {3, "Tattoo_A6", 1300, 1500},
                          {4, "A5", 41, 17},
                          {2, "Letter", 2480, 3035}};
    for (const Case& c : cases) {
        printAndCompare({.ppd = "korvk5.ppd", .pages = {grayPage(c.width, c.height, 300, photoShade(c.width), c.name)}},
                        {.antiWrinkle = c.level});
    }
    for (unsigned dpi : {203u, 300u}) {
        std::vector<RasterPage> pages;
        for (const char* name : {"A4", "Letter", "Tattoo_A5", "Tattoo_A6", "w288h432"}) {
            pages.push_back(grayPage(29, 7, dpi, photoShade(dpi), name));
        }
        printAndCompare({.pages = pages}, {});
    }
}

// Thin strokes on blank paper, a grid and a diagonal with a softened edge;
// flip 255 makes them light strokes on black.
Shade lineArt(uint8_t flip)
{
    return [=](unsigned x, unsigned y) {
        const bool stroke = x % 17 == 2 || y % 13 == 3 || x == 2 * y;
        return uint8_t((stroke ? 255 : (x == 2 * y + 1 ? 128 : 0)) ^ flip);
    };
}

// Prints on the stencil printer as the reference does. A filter caught in
// an endless loop dies of the CPU limit it inherits.
std::vector<korvostream::Page> printTattoo(const std::vector<RasterPage>& pages, const pageref::JobSettings& s)
{
    rlimit cpu{};
    getrlimit(RLIMIT_CPU, &cpu);
    cpu.rlim_cur = std::min<rlim_t>(cpu.rlim_max, clock() / CLOCKS_PER_SEC + 60);
    setrlimit(RLIMIT_CPU, &cpu);
    return printAndCompare({.ppd = "korvk5.ppd", .pages = pages}, s);
}

// Several pages a job; the frame enlarges the small Tattoo_A6 pages to its
// canvas and draws nothing on a size it has no canvas for.
TEST(TattooPages, PhotoAndLineArtAsTheReference)
{
    const std::vector<RasterPage> pages = {
        grayPage(120, 90, 300, photoShade(1), "Tattoo_A6"), grayPage(75, 41, 300, lineArt(0), "Tattoo_A6"),
        grayPage(64, 48, 300, lineArt(255), "Tattoo_A6"), grayPage(33, 60, 300, photoShade(2), "Custom")};
    // Type, brightness, contrast, rotation, mirror, negative, frame level.
    const pageref::JobSettings settings[] = {{8, 0, 0, false, false, false, 0},   {9, 0, 0, false, false, false, 0},
                                             {8, 20, -30, true, true, true, 2},   {9, 20, -30, true, true, true, 2},
                                             {8, -10, 40, true, false, false, 1}, {9, -10, 40, false, true, true, 1},
                                             {9, 0, 50, true, false, false, 5},   {8, 0, 0, false, true, false, 3}};
    for (const pageref::JobSettings& s : settings) {
        printTattoo(pages, s);
    }
}

// Pages the rules alone never finish: one level (0/0 moments), equal parts of
// 0 and 255 (threshold 255, where Tattoo_Q6 splits its gamma), 95 % level 3
// and 5 % 255, one level off a uniform page (a NaN or infinite discriminant),
// one pixel, row or column. Blur and unsharp mask keep a single pixel, which
// prints once the gamma lifts it above 128: Tattoo, 64 + 191 (41/191)^0.7 =
// 129.05 for 105, 127.9 for 104; Q6, 128 + 127 (6/127)^1.5 = 129.3 for 134,
// 128.99 for 133.
TEST(TattooPages, DegeneratePagesPrintPromptlyAsTheReference)
{
    std::vector<std::pair<RasterPage, int>> cases = {
        // and the moment threshold
        {uniformPage(1, 1, 300, 104), 128},
        {uniformPage(1, 1, 300, 105), 128},
        {uniformPage(1, 1, 300, 133), 128},
        {uniformPage(1, 1, 300, 134), 128},
        {uniformPage(13, 7, 300, 0), 128},
        {uniformPage(24, 16, 300, 255), 128},
        {grayPage(40, 20, 300, [](unsigned x, unsigned) { return uint8_t(x < 20 ? 0 : 255); }), 255},
        {grayPage(20, 20, 300, [](unsigned, unsigned y) { return uint8_t(y == 7 ? 255 : 3); }), 255},
        {grayPage(40, 25, 300, [](unsigned x, unsigned y) { return uint8_t(x + y ? 76 : 77); }), 128},
        {grayPage(40, 25, 300, [](unsigned x, unsigned y) { return uint8_t(x + y ? 172 : 173); }), -1},
    };
    std::vector<RasterPage> pages = {grayPage(1, 30, 300, photoShade(3)), grayPage(30, 1, 300, photoShade(4))};
    for (const auto& [page, threshold] : cases) {
        pageref::tattoo::Plane plane(int(page.header.cupsWidth), int(page.header.cupsHeight));
        plane.px = page.pixels;
        EXPECT_EQ(pageref::tattoo::momentThreshold(plane), threshold) << "page " << pages.size() + 1;
        pages.push_back(page);
    }
    const pageref::JobSettings settings[] = {{8, 0, 0, false, false, false, 0},
                                             {9, 0, 0, false, false, false, 0},
                                             {8, 20, -30, true, true, true, 1},
                                             {9, 20, -30, true, true, true, 1}};
    for (const pageref::JobSettings& s : settings) {
        const std::vector<korvostream::Page> printed = printTattoo(pages, s);
        for (size_t i = 2; i < 6 && s.antiWrinkle == 0 && printed.size() == pages.size(); ++i) {
            EXPECT_EQ(printed[i].dot(0, 0), i >= (s.halftoneType == 9 ? 5u : 3u)) << "page " << i + 1;
        }
    }
}

// The packet bytes of the start sequence, the feed and the cut, as the
// printer reads them.
TEST(FilterJob, PacketBytesOnTheWire)
{
    const FilterResult result =
        print({.pages = {uniformPage(8, 1, 203, 0)}, .options = "Occurrence=EveryPage PostAction=Cut"});
    std::vector<uint8_t> start(64, 0);
    start.insert(start.end(), {
                                  0x64, 0x0E, 0x40, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,  // PrintControl(0)
                                  0x64, 0x41, 0x00, 0x01, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x9B,  // density 8
                                  0x64, 0x0E, 0x40, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x9B,  // PrintControl(1)
                              });
    EXPECT_EQ(std::search(result.out.begin(), result.out.end(), start.begin(), start.end()), result.out.begin());
    const std::vector<uint8_t> feedThenCut = {
        0x64, 0x00, 0x00, 0x03, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,  // FeedPaper(3, 0)
        0x64, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,                    // DoPaperCut()
    };
    EXPECT_NE(std::search(result.out.begin(), result.out.end(), feedThenCut.begin(), feedThenCut.end()),
              result.out.end());
}

// The expected control packets of a job, as the media action rules read:
// the go-back feed whenever the last feed was not kind 4 or the paper has
// marks, the per-page action only for EveryPage, the job-end action only
// for AfterJob (and no tear-off feed for label paper at the job end).
std::string expectedMediaActions(const std::string& occurrence, const std::string& action, const std::string& paper,
                                 int pages)
{
    std::string words;
    bool needGoBack = false;
    auto feed = [&](int kind) {
        words += "FEED" + std::to_string(kind) + ",0 ";
        needGoBack = kind != 4;
    };
    const bool labelMark = paper == "LabelMark";
    for (int page = 0; page < pages; ++page) {
        words += "NUL*64 PC0 DENSITY8 PC1 PC0 ";
        if (needGoBack || labelMark) {
            feed(4);
        }
        words += "AREA ROWS ";
        if (occurrence == "EveryPage" && action == "TearOff") {
            feed(labelMark ? 5 : 3);
        } else if (occurrence == "EveryPage" && action == "Cut") {
            feed(3);
            words += "CUT ";
        }
        words += "PC1 ";
    }
    words += "PC0 ";
    if (occurrence == "AfterJob" && action == "TearOff" && !labelMark) {
        feed(3);
    } else if (occurrence == "AfterJob" && action == "Cut") {
        feed(3);
        words += "CUT ";
    }
    return words + "PC1";
}

// Every combination of occurrence, post action and paper type on a
// three-page job; two of the expected sequences are pinned literally so
// that a mistake in the rules above cannot hide one in the filter.
TEST(FilterJob, MediaActionsFollowTheTable)
{
    EXPECT_EQ(
        expectedMediaActions("EveryPage", "TearOff", "Continuous", 2),
        "NUL*64 PC0 DENSITY8 PC1 PC0 AREA ROWS FEED3,0 PC1 NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 AREA ROWS FEED3,0 PC1 "
        "PC0 PC1");
    EXPECT_EQ(expectedMediaActions("AfterJob", "TearOff", "LabelMark", 1),
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 AREA ROWS PC1 PC0 PC1");
    const RasterPage page = uniformPage(40, 3, 203, 0);
    for (const char* occurrence : {"EveryPage", "AfterJob"}) {
        for (const char* action : {"TearOff", "Cut", "None"}) {
            for (const char* paper : {"LabelMark", "Continuous", "LabelGap"}) {
                const std::string options =
                    std::string("Occurrence=") + occurrence + " PostAction=" + action + " PaperType=" + paper;
                const FilterResult result = print({.pages = {page, page, page}, .options = options});
                EXPECT_EQ(result.words(), expectedMediaActions(occurrence, action, paper, 3)) << options;
            }
        }
    }
}

}  // namespace
