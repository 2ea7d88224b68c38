// Tattoo stencils through the built filter, every printed dot compared with
// the reference model: photos and line art under the page settings and the
// frame, and pages whose halftoning never ends without the toolkit's guards.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <ctime>

#include "PrintedJob.h"
#include "TattooReference.h"
#include "korvostream/KorvoStream.h"

using namespace korvotest;
using namespace printedjob;

namespace {

// Thin strokes on blank paper, a grid and a diagonal with a softened edge;
// flip 255 makes them light strokes on black.
Shade lineArt(uint8_t flip)
{
    return [=](unsigned x, unsigned y) {
        return uint8_t((x % 17 == 2 || y % 13 == 3 || x == 2 * y ? 255 : x == 2 * y + 1 ? 128 : 0) ^ flip);
    };
}

Shade level(uint8_t v) { return [v](unsigned, unsigned) { return v; }; }

class TattooPages : public ::testing::Test {
protected:
    // A filter caught in an endless loop dies of the CPU limit it inherits.
    static void SetUpTestSuite()
    {
        rlimit cpu{};
        getrlimit(RLIMIT_CPU, &cpu);
        cpu.rlim_cur = std::min<rlim_t>(cpu.rlim_max, clock() / CLOCKS_PER_SEC + 60);
        setrlimit(RLIMIT_CPU, &cpu);
    }

    // Prints the pages and compares every dot with the model. No job here
    // needs a second; one that takes five has met an endless loop.
    std::vector<korvostream::Page> print(const std::vector<RasterPage>& pages, const pageref::JobSettings& s)
    {
        const auto start = std::chrono::steady_clock::now();
        const FilterResult result = printAndCompare(ppd, pages, s);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << optionsFor(s);
        return korvostream::collectPages(korvostream::parseStream(result.out));
    }

    TempDir dir;
    const std::string ppd = ppdWithModel(dir, "korvk5.ppd", "TEST");
};

// Several pages a job; the frame enlarges the small Tattoo_A6 pages to its
// canvas and draws nothing on a size it has no canvas for.
TEST_F(TattooPages, PhotoAndLineArtAsTheReference)
{
    const std::vector<RasterPage> pages = {
        page(120, 90, 300, "Tattoo_A6", photoShade(1)), page(75, 41, 300, "Tattoo_A6", lineArt(0)),
        page(64, 48, 300, "Tattoo_A6", lineArt(255)), page(33, 60, 300, "Custom", photoShade(2))};
    // Type, brightness, contrast, rotation, mirror, negative, frame level.
    const pageref::JobSettings settings[] = {
        {8, 0, 0, false, false, false, 0}, {9, 0, 0, false, false, false, 0},   {8, 20, -30, true, true, true, 2},
        {9, 20, -30, true, true, true, 2}, {8, -10, 40, true, false, false, 1}, {9, -10, 40, false, true, true, 1},
        {9, 0, 50, true, false, false, 5}, {8, 0, 0, false, true, false, 3}};
    for (const pageref::JobSettings& s : settings) print(pages, s);
}

// Pages the rules alone never finish: one level (0/0 moments), equal parts of
// 0 and 255 (threshold 255, where Tattoo_Q6 splits its gamma), 95 % level 3
// and 5 % 255, one level off a uniform page (a NaN or infinite discriminant),
// one pixel, row or column. Blur and unsharp mask keep a single pixel, which
// prints once the gamma lifts it above 128: Tattoo, 64 + 191 (41/191)^0.7 =
// 129.05 for 105, 127.9 for 104; Q6, 128 + 127 (6/127)^1.5 = 129.3 for 134,
// 128.99 for 133.
TEST_F(TattooPages, DegeneratePagesPrintPromptlyAsTheReference)
{
    std::vector<std::pair<RasterPage, int>> cases = {  // and the moment threshold
        {page(13, 7, 300, "Tattoo_A6", level(0)), 128},
        {page(24, 16, 300, "Tattoo_A6", level(255)), 128},
        {page(40, 20, 300, "Tattoo_A6", [](unsigned x, unsigned) { return uint8_t(x < 20 ? 0 : 255); }), 255},
        {page(20, 20, 300, "Tattoo_A6", [](unsigned, unsigned y) { return uint8_t(y == 7 ? 255 : 3); }), 255},
        {page(40, 25, 300, "Tattoo_A6", [](unsigned x, unsigned y) { return uint8_t(x + y ? 76 : 77); }), 128},
        {page(40, 25, 300, "Tattoo_A6", [](unsigned x, unsigned y) { return uint8_t(x + y ? 172 : 173); }), -1},
    };
    std::vector<RasterPage> pages = {page(1, 30, 300, "Tattoo_A6", photoShade(3)),
                                     page(30, 1, 300, "Tattoo_A6", photoShade(4))};
    for (int v : {134, 133, 105, 104}) cases.insert(cases.begin(), {page(1, 1, 300, "Tattoo_A6", level(v)), 128});
    for (const auto& [p, threshold] : cases) {
        pageref::tattoo::Plane plane(int(p.header.cupsWidth), int(p.header.cupsHeight));
        plane.px = p.pixels;
        EXPECT_EQ(pageref::tattoo::momentThreshold(plane), threshold) << "page " << pages.size() + 1;
        pages.push_back(p);
    }
    const pageref::JobSettings settings[] = {{8, 0, 0, false, false, false, 0}, {9, 0, 0, false, false, false, 0},
                                             {8, 20, -30, true, true, true, 1}, {9, 20, -30, true, true, true, 1}};
    for (const pageref::JobSettings& s : settings) {
        const std::vector<korvostream::Page> printed = print(pages, s);
        for (size_t i = 2; i < 6 && s.antiWrinkle == 0 && printed.size() == pages.size(); ++i)
            EXPECT_EQ(printed[i].dot(0, 0), i >= (s.halftoneType == 9 ? 5u : 3u)) << "page " << i + 1;
    }
}

}  // namespace
