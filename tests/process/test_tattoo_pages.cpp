// What the printer receives for pages halftoned as tattoo stencils ("Tattoo"
// and "Tattoo_Q6"): every dot of the image rows and the print area, compared
// with the reference model of tests/process/reference, for photo-like and
// line-art pages, one- and two-level pages, tiny pages, brightness and
// contrast, rotation, mirroring, negative printing and the anti-wrinkle
// frame, on the stencil model and on a label model. Pages whose halftoning
// has no natural end without the toolkit's guards (one gray level, a
// threshold of 255 for Tattoo_Q6, an infinite discriminant) must print
// promptly. A few cases are worked out by hand, so that the model and the
// filter cannot share a misreading.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
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
#include "TattooReference.h"

using namespace korvotest;
using namespace printedjob;

namespace {

constexpr int kTattoo = 8;
constexpr int kTattooQ6 = 9;

const char* const kLabelPpd = "korvr27.ppd";    // no AntiWrinkle option: level -1, no pre-feed
const char* const kStencilPpd = "korvk5.ppd";  // AntiWrinkle option, default Tattoo, 300 dpi

// A job that takes longer than this has not been guarded against the
// endless loops of the halftoning rules (the machine is shared: generous).
constexpr long long kPromptMs = 5000;
// No job here needs more than a second or two; one that runs this long is
// stuck and is killed.
constexpr long long kKillAfterMs = 30000;

const char* typeName(int type)
{
    return type == kTattooQ6 ? "Tattoo_Q6" : "Tattoo";
}

// Every option is given explicitly, off values included.
std::string optionsFor(const pageref::JobSettings& s, bool stencil, bool withType = true)
{
    std::ostringstream text;
    if (withType) {
        text << "HalftoneType=" << typeName(s.halftoneType) << " ";
    }
    text << "Brightness=" << s.brightness << " Contrast=" << s.contrast
         << " Origin=" << (s.rotate180 ? "Rotation180" : "Normal") << " MirrorImage=" << (s.mirror ? "True" : "False")
         << " NegativeImage=" << (s.negative ? "True" : "False");
    if (stencil) {
        text << " AntiWrinkle=" << s.antiWrinkle;
    }
    return text.str();
}

pageref::JobSettings tattooSettings(int type, int antiWrinkle)
{
    pageref::JobSettings s;
    s.halftoneType = type;
    s.antiWrinkle = antiWrinkle;
    return s;
}

// ---------------------------------------------------------------------------
// Page contents, all deterministic. In the raster 0 is blank paper.

using Shade = std::function<uint8_t(unsigned, unsigned)>;

// Smooth gradients, a bright disc and a dark bar with hard edges, and grain.
Shade photo(unsigned w, unsigned h, uint32_t seed)
{
    return [=](unsigned x, unsigned y) {
        const int W = static_cast<int>(std::max(w, 1u));
        const int H = static_cast<int>(std::max(h, 1u));
        const int X = static_cast<int>(x);
        const int Y = static_cast<int>(y);
        int v = (X * 200) / W + (Y * 55) / H;
        const int dx = X - W / 3 - static_cast<int>(seed % 7);
        const int dy = Y - H / 2;
        if (dx * dx + dy * dy < (W * W) / 25) {
            v = 230 - v / 3;
        }
        if (X > (2 * W) / 3 && X < (2 * W) / 3 + std::max(W / 10, 1)) {
            v = 15;
        }
        v += static_cast<int>(mix(seed, x, y) % 41) - 20;
        return static_cast<uint8_t>(std::clamp(v, 0, 255));
    };
}

// Strokes on blank paper: a frame, a circle outline, a diagonal with
// softened edges and a few dots; inverted gives light strokes on black.
Shade lineArt(unsigned w, unsigned h, bool inverted)
{
    return [=](unsigned x, unsigned y) {
        const int X = static_cast<int>(x);
        const int Y = static_cast<int>(y);
        const int W = static_cast<int>(w);
        const int H = static_cast<int>(h);
        int v = 0;
        if (X == 2 || Y == 2 || X == W - 3 || Y == H - 3) {
            v = 255;
        }
        const int dx = X - W / 2;
        const int dy = Y - H / 2;
        const int r = std::min(W, H) / 3;
        const int d2 = dx * dx + dy * dy;
        if (d2 >= (r - 1) * (r - 1) && d2 <= (r + 1) * (r + 1)) {
            v = 255;
        }
        const int diagonal = std::abs(X * H - Y * W) / std::max(W, 1);
        if (diagonal == 0) {
            v = 255;
        } else if (diagonal == 1) {
            v = std::max(v, 128);
        }
        if ((X * 7 + Y * 3) % 29 == 0) {
            v = 255;
        }
        return static_cast<uint8_t>(inverted ? 255 - v : v);
    };
}

Shade ramp(unsigned w)
{
    return [=](unsigned x, unsigned) { return static_cast<uint8_t>(w > 1 ? x * 255 / (w - 1) : 128); };
}

Shade noise(uint32_t seed)
{
    return [=](unsigned x, unsigned y) { return static_cast<uint8_t>(mix(seed, x, y) & 0xFF); };
}

Shade level(uint8_t v)
{
    return [=](unsigned, unsigned) { return v; };
}

// Two levels: b on the pixels the chooser picks, a elsewhere.
Shade twoLevels(uint8_t a, uint8_t b, std::function<bool(unsigned, unsigned)> chooser)
{
    return [=](unsigned x, unsigned y) { return chooser(x, y) ? b : a; };
}

// One pixel (at x0, y0) one level off a uniform page.
Shade oneOff(uint8_t a, uint8_t b, unsigned x0, unsigned y0)
{
    return [=](unsigned x, unsigned y) { return x == x0 && y == y0 ? b : a; };
}

bool dotAt(const SentImage& image, size_t rowBytes, size_t x, size_t y)
{
    return (image.packed.at(y * rowBytes + x / 8) >> (7 - x % 8)) & 1;
}

// ---------------------------------------------------------------------------

class TattooPages : public ::testing::Test {
protected:
    struct Timed {
        FilterResult result;
        long long ms = 0;
    };

    // Runs the test build of the filter on the pages. A filter that is still
    // running after kKillAfterMs is killed (the job then fails) instead of
    // holding up the whole run.
    Timed print(const char* ppdFile, const std::vector<RasterPage>& pages, const pageref::JobSettings& s,
                bool withType = true)
    {
        const bool stencil = std::string(ppdFile) == kStencilPpd;
        const std::string raster = dir.file("job.ras");
        writeRaster(raster, pages);
        FilterRun run;
        run.binary = seamsFilter();
        run.ppd = ppdWithModel(dir, ppdFile, "TEST");
        run.rasterFile = raster;
        run.options = optionsFor(s, stencil, withType);
        run.env.push_back({"KORVO_TEST_CAPTURE_DIR", captures.path()});
        bool killed = false;
        const auto start = std::chrono::steady_clock::now();
        run.whileRunning = [&](int pid) {
            for (;;) {
                siginfo_t info{};
                if (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
                    info.si_pid == pid) {
                    return;  // exited (left for runFilter to reap)
                }
                if (std::chrono::steady_clock::now() - start > std::chrono::milliseconds(kKillAfterMs)) {
                    kill(pid, SIGKILL);
                    killed = true;
                    return;
                }
                usleep(1000);
            }
        };
        Timed timed;
        timed.result = runFilter(run);
        timed.ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
                       .count();
        EXPECT_FALSE(killed) << "the filter was still running after " << kKillAfterMs << " ms";
        return timed;
    }

    // Prints the pages and compares every dot of every page with the model.
    Timed printAndCompare(const char* ppdFile, const std::vector<RasterPage>& pages, const pageref::JobSettings& s,
                          bool withType = true)
    {
        Timed timed = print(ppdFile, pages, s, withType);
        expectPagesAsReference(timed.result, pages, s);
        return timed;
    }

    std::vector<SentImage> sent(const FilterResult& result) { return sentImagesOrFail(result); }

    // The frame's log lines of every page equal the model's.
    void expectFrameLogsAsReference(const FilterResult& result, const std::vector<RasterPage>& pages,
                                    const pageref::JobSettings& s)
    {
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

    TempDir dir;
    TempDir captures;
};

// ---------------------------------------------------------------------------
// Cases worked out by hand.

// A one-pixel page has one gray level, so the threshold is 128. Blur and
// unsharp mask leave a single pixel as it is; the dot prints when the gamma
// curve lifts the level above 128. Tattoo (split 64, 0.7 above it):
// 64 + 191 * (41/191)^0.7 = 129.05 for 105, while 104 gives 127.9.
// Tattoo_Q6 (split 128, 1.5 above it): 128 + 127 * (6/127)^1.5 = 129.3 for
// 134, while 133 gives 128.99. The row is padded to 4 bytes, one packed
// byte; a negative page prints the padding as well.
TEST_F(TattooPages, SinglePixelPrintsFrom105UnderTattooAndFrom134UnderQ6)
{
    std::vector<RasterPage> pages;
    for (int v = 0; v < 256; ++v) {
        pages.push_back(page(1, 1, 300, "Tattoo_A6", level(static_cast<uint8_t>(v))));
    }
    for (int type : {kTattoo, kTattooQ6}) {
        for (bool negative : {false, true}) {
            SCOPED_TRACE(std::string(typeName(type)) + (negative ? " negative" : ""));
            pageref::JobSettings s = tattooSettings(type, -1);
            s.negative = negative;
            const Timed timed = printAndCompare(kLabelPpd, pages, s);
            EXPECT_LT(timed.ms, 2 * kPromptMs);  // 256 one-level pages
            const std::vector<SentImage> images = sent(timed.result);
            ASSERT_EQ(images.size(), 256u);
            const int first = type == kTattoo ? 105 : 134;
            for (int v = 0; v < 256; ++v) {
                const bool dot = v >= first;
                const uint8_t expected = negative ? (dot ? 0x70 : 0xF0) : (dot ? 0x80 : 0x00);
                EXPECT_EQ(images[v].packed, std::vector<uint8_t>{expected}) << "level " << v;
                EXPECT_EQ(images[v].areaWidth, 8u);
            }
        }
    }
}

// Blank paper stays blank and a solid page prints solid under both types,
// whatever the rotation and mirroring: at 255 every dot turns white with no
// error left over, at 0 nothing ever passes the threshold 128. The padding
// of a 13-dot row (3 bytes) stays blank, and a negative page prints it.
TEST_F(TattooPages, BlankAndSolidPagesPrintNothingAndEverything)
{
    const std::vector<RasterPage> pages = {page(13, 7, 300, "Tattoo_A6", level(0)),
                                           page(13, 7, 300, "Tattoo_A6", level(255)),
                                           page(16, 5, 300, "Custom", level(255))};
    for (int type : {kTattoo, kTattooQ6}) {
        for (bool negative : {false, true}) {
            SCOPED_TRACE(std::string(typeName(type)) + (negative ? " negative" : ""));
            pageref::JobSettings s = tattooSettings(type, 0);
            s.negative = negative;
            s.rotate180 = true;
            s.mirror = type == kTattooQ6;
            const Timed timed = printAndCompare(kStencilPpd, pages, s);
            EXPECT_LT(timed.ms, kPromptMs);
            const std::vector<SentImage> images = sent(timed.result);
            ASSERT_EQ(images.size(), 3u);
            const uint8_t blank = negative ? 0xFF : 0x00;
            const uint8_t solid13[2] = {static_cast<uint8_t>(negative ? 0x00 : 0xFF),
                                        static_cast<uint8_t>(negative ? 0x07 : 0xF8)};
            std::vector<uint8_t> expectedBlank(7 * 2, blank);
            std::vector<uint8_t> expectedSolid;
            for (int row = 0; row < 7; ++row) {
                expectedSolid.push_back(solid13[0]);
                expectedSolid.push_back(solid13[1]);
            }
            EXPECT_EQ(images[0].packed, expectedBlank);
            EXPECT_EQ(images[1].packed, expectedSolid);
            EXPECT_EQ(images[2].packed, std::vector<uint8_t>(5 * 2, negative ? 0x00 : 0xFF));
        }
    }
}

// A blank 101 x 81 page on Tattoo_A6 at 300 dpi, level 1: the canvas is
// 1181 + 2 * 12 by 1394 + 2 * 12 = 1205 x 1418, so the page grows by 552
// columns on each side and by 668 rows on each side (one row short of the
// canvas). The border is the gray palette's white, 255, which prints like
// the frame lines; only the page itself stays blank. The padding of the
// 1205-dot rows is filled too. Print area: offset ((2592 - 1205) / 2)
// rounded down to 8 = 688, 151 packed bytes a row.
TEST_F(TattooPages, FramedBlankPagePrintsAllButThePage)
{
    for (int type : {kTattoo, kTattooQ6}) {
        SCOPED_TRACE(typeName(type));
        const std::vector<RasterPage> pages = {page(101, 81, 300, "Tattoo_A6", level(0))};
        const pageref::JobSettings s = tattooSettings(type, 1);
        const Timed timed = printAndCompare(kStencilPpd, pages, s);
        const std::vector<SentImage> images = sent(timed.result);
        ASSERT_EQ(images.size(), 1u);
        EXPECT_EQ(images[0].areaOffset, 688u);
        EXPECT_EQ(images[0].areaWidth, 1208u);
        ASSERT_EQ(images[0].packed.size(), 151u * 1417u);
        size_t wrong = 0;
        for (size_t y = 0; y < 1417; ++y) {
            for (size_t x = 0; x < 1208; ++x) {
                const bool insidePage = x >= 552 && x < 653 && y >= 668 && y < 749;
                wrong += dotAt(images[0], 151, x, y) == insidePage;
            }
        }
        EXPECT_EQ(wrong, 0u);
        EXPECT_TRUE(timed.result.errHasLine(
            "DEBUG:EnableAntiWrink: Page size is Tattoo_A6, CanvasWidth: 1205, CanvasHeight: 1418"));
    }
}

// Pages of only 0 and 255 pass the gamma curves and the unsharp mask
// unchanged (4 x 0 - 3 x blur clamps to 0, 4 x 255 - 3 x blur to 255), so
// the diffusion sees the page itself. With 30 % of 0 the threshold is 0; on
// pages of one or two rows every pixel is a border pixel, a white dot takes
// exactly its 255 back and a black one holds 0: the page prints as it is.
// With equal parts the threshold is 255, which no pixel exceeds unless error
// pushes it: on two-pixel pages a 255 before the 0 leaves only 129 or 62 on
// it, a 255 after the 0 stays at 255, so nothing prints.
TEST_F(TattooPages, BlackAndWhitePagesAroundTheThreshold)
{
    const Shade thirtyPercent = [](unsigned x, unsigned y) {
        return static_cast<uint8_t>((x + 3 * y) % 10 == 0 || (x + 3 * y) % 10 == 4 || (x + 3 * y) % 10 == 7 ? 0 : 255);
    };
    const std::vector<RasterPage> pages = {
        page(10, 1, 300, "Tattoo_A6", thirtyPercent),
        page(10, 2, 300, "Tattoo_A6", thirtyPercent),
        page(2, 1, 300, "Tattoo_A6", [](unsigned x, unsigned) { return static_cast<uint8_t>(x == 1 ? 255 : 0); }),
        page(2, 1, 300, "Tattoo_A6", [](unsigned x, unsigned) { return static_cast<uint8_t>(x == 0 ? 255 : 0); }),
        page(1, 2, 300, "Tattoo_A6", [](unsigned, unsigned y) { return static_cast<uint8_t>(y == 1 ? 255 : 0); }),
        page(1, 2, 300, "Tattoo_A6", [](unsigned, unsigned y) { return static_cast<uint8_t>(y == 0 ? 255 : 0); }),
    };
    for (int type : {kTattoo, kTattooQ6}) {
        SCOPED_TRACE(typeName(type));
        const Timed timed = printAndCompare(kStencilPpd, pages, tattooSettings(type, 0));
        EXPECT_LT(timed.ms, kPromptMs);
        const std::vector<SentImage> images = sent(timed.result);
        ASSERT_EQ(images.size(), pages.size());
        for (size_t i = 0; i < 2; ++i) {
            ASSERT_EQ(images[i].packed.size(), 2 * (i + 1));  // 10 dots: 12-byte rows, 2 packed bytes
            for (size_t y = 0; y <= i; ++y) {
                for (size_t x = 0; x < 12; ++x) {
                    const bool expected = x < 10 && pages[i].pixels[y * 10 + x] == 255;
                    EXPECT_EQ(dotAt(images[i], 2, x, y), expected) << "page " << i + 1 << " (" << x << ", " << y << ")";
                }
            }
        }
        for (size_t i = 2; i < pages.size(); ++i) {
            EXPECT_EQ(images[i].packed, std::vector<uint8_t>(pages[i].header.cupsHeight, 0)) << "page " << i + 1;
        }
    }
}

// ---------------------------------------------------------------------------
// Page contents under both types, on the stencil model without a frame.

struct ContentCase {
    const char* name;
    std::function<std::vector<RasterPage>()> pages;
};

const ContentCase kContents[] = {
    {"Photo",
     [] {
         return std::vector<RasterPage>{page(160, 120, 300, "Tattoo_A6", photo(160, 120, 1)),
                                        page(97, 61, 300, "Tattoo_A5", photo(97, 61, 2)),
                                        page(33, 200, 300, "Custom", photo(33, 200, 3))};
     }},
    {"LineArt",
     [] {
         return std::vector<RasterPage>{page(120, 90, 300, "Tattoo_A6", lineArt(120, 90, false)),
                                        page(75, 41, 300, "Tattoo_A6", lineArt(75, 41, true)),
                                        page(22, 130, 300, "A4", lineArt(22, 130, false))};
     }},
    {"RampsAndNoise",
     [] {
         return std::vector<RasterPage>{page(256, 16, 300, "Tattoo_A6", ramp(256)),
                                        page(61, 47, 300, "Tattoo_A6", noise(5)),
                                        page(3, 90, 300, "Tattoo_A6", ramp(3))};
     }},
    {"TwoLevelShapes",
     [] {
         return std::vector<RasterPage>{
             page(64, 40, 300, "Tattoo_A6",
                  twoLevels(0, 255, [](unsigned x, unsigned y) { return ((x / 5) + (y / 5)) % 2 == 1; })),
             page(53, 29, 300, "Tattoo_A6", twoLevels(40, 200, [](unsigned x, unsigned y) {
                      const int dx = static_cast<int>(x) - 26;
                      const int dy = static_cast<int>(y) - 14;
                      return dx * dx + dy * dy < 150;
                  })),
             page(30, 30, 300, "Tattoo_A6",
                  twoLevels(3, 255, [](unsigned x, unsigned y) { return (x * 31 + y) % 20 == 0; }))};
     }},
};

class TattooContents : public TattooPages, public ::testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(TattooContents, EveryDotAsTheReference)
{
    const auto [content, type] = GetParam();
    const std::vector<RasterPage> pages = kContents[content].pages();
    const Timed timed = printAndCompare(kStencilPpd, pages, tattooSettings(type, 0));
    // The stencil model feeds 300 * 120 / 254 lines before every image.
    std::string expected;
    for (size_t i = 0; i < pages.size(); ++i) {
        expected += std::string(i ? " FEED4,0 " : "") + "FEED0,141 AREA ROWS";
    }
    std::vector<std::string> words;  // feeds and image packets, a run of row packets as one word
    for (const std::string& word : streamWords(timed.result.out)) {
        const bool image = word == "AREA" || word == "ROWS";
        if ((image || word.rfind("FEED", 0) == 0) && !(word == "ROWS" && !words.empty() && words.back() == "ROWS")) {
            words.push_back(word);
        }
    }
    EXPECT_EQ(joinWords(words), expected);
}

INSTANTIATE_TEST_SUITE_P(Stencil, TattooContents,
    ::testing::Combine(::testing::Range(0, static_cast<int>(std::size(kContents))),
                       ::testing::Values(kTattoo, kTattooQ6)),
    [](const ::testing::TestParamInfo<std::tuple<int, int>>& info) {
        return std::string(kContents[std::get<0>(info.param)].name) + "_" + typeName(std::get<1>(info.param));
    });

// ---------------------------------------------------------------------------
// Brightness, contrast, rotation, mirror and negative, alone and combined,
// under both types, on the label model (frame level -1: the known canvases
// refuse to grow, the others draw nothing).

struct TransformCase {
    const char* name;
    int brightness;
    int contrast;
    bool rotate;
    bool mirror;
    bool negative;
};

const TransformCase kTransforms[] = {
    {"None", 0, 0, false, false, false},
    {"BrightnessUp", 20, 0, false, false, false},
    {"BrightnessDown", -40, 0, false, false, false},
    {"ContrastUp", 0, 50, false, false, false},
    {"ContrastDown", 0, -30, false, false, false},
    {"BrightnessContrast", 20, -30, false, false, false},
    {"Rotation", 0, 0, true, false, false},
    {"Mirror", 0, 0, false, true, false},
    {"RotationMirror", 0, 0, true, true, false},
    {"Negative", 0, 0, false, false, true},
    {"Everything", 20, -30, true, true, true},
    {"DarkMirrorNegative", -100, 100, false, true, true},
};

class TattooTransforms : public TattooPages, public ::testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(TattooTransforms, EveryDotAsTheReference)
{
    const auto [transform, type] = GetParam();
    const TransformCase& t = kTransforms[transform];
    pageref::JobSettings s = tattooSettings(type, -1);
    s.brightness = t.brightness;
    s.contrast = t.contrast;
    s.rotate180 = t.rotate;
    s.mirror = t.mirror;
    s.negative = t.negative;
    // Asymmetric content, so that a rotation or mirror the wrong way round
    // shows; odd widths leave padding.
    const std::vector<RasterPage> pages = {
        page(71, 45, 300, "Tattoo_A6", photo(71, 45, static_cast<uint32_t>(transform))),
        page(40, 23, 300, "Tattoo_A5", lineArt(40, 23, transform % 2 == 1)),
        page(9, 31, 203, "w288h432", noise(static_cast<uint32_t>(transform + 11))),
        page(33, 2, 300, "A4", ramp(33)),
    };
    const Timed timed = printAndCompare(kLabelPpd, pages, s);
    expectFrameLogsAsReference(timed.result, pages, s);
    // Tattoo_A6, Tattoo_A5 and A4 refuse to grow by 1.69 million dots.
    EXPECT_EQ(timed.result.errCount("EnableAntiWrink: Failed to expand image, returning."), 3u);
    EXPECT_EQ(timed.result.errCount("Tatto printer detected"), 0u);
}

INSTANTIATE_TEST_SUITE_P(Label, TattooTransforms,
    ::testing::Combine(::testing::Range(0, static_cast<int>(std::size(kTransforms))),
                       ::testing::Values(kTattoo, kTattooQ6)),
    [](const ::testing::TestParamInfo<std::tuple<int, int>>& info) {
        return std::string(kTransforms[std::get<0>(info.param)].name) + "_" + typeName(std::get<1>(info.param));
    });

// ---------------------------------------------------------------------------
// The anti-wrinkle frame on the stencil model, after the halftoning and the
// negative.

struct FramePage {
    unsigned width;
    unsigned height;
    const char* sizeName;
};

struct FrameCase {
    const char* name;
    int level;
    int type;
    int brightness;
    int contrast;
    bool rotateMirror;
    bool negative;
    std::vector<FramePage> pages;
};

const FrameCase kFrames[] = {
    {"Level1A6AndUnknownNames", 1, kTattoo, 0, 0, false, false,
     {{120, 90, "Tattoo_A6"}, {37, 23, "Custom.100x150mm"}, {50, 20, "tattoo_a6"}}},
    {"Level2Q6AllOptions", 2, kTattooQ6, 20, -30, true, true, {{90, 66, "Tattoo_A6"}, {13, 5, "Tattoo_A6"}}},
    {"Level3A5", 3, kTattooQ6, 0, 0, false, false, {{101, 51, "Tattoo_A5"}}},
    {"Level4OddSizes", 4, kTattoo, -10, 40, true, false, {{1, 1, "Tattoo_A6"}, {2, 7, "Tattoo_A6"}, {45, 1, "Other"}}},
    {"Level5NegativeA5", 5, kTattoo, 0, 0, false, true, {{77, 33, "Tattoo_A5"}}},
    // Level 1 canvas for Tattoo_A6: 1205 x 1418. A page larger in both
    // directions is not enlarged; the frame is centred on it.
    {"Level1LargerThanTheCanvas", 1, kTattooQ6, 0, 0, false, false, {{1210, 1421, "Tattoo_A6"}}},
};

class TattooFrames : public TattooPages, public ::testing::WithParamInterface<int> {};

TEST_P(TattooFrames, EveryDotAndLogLineAsTheReference)
{
    const FrameCase& c = kFrames[GetParam()];
    std::vector<RasterPage> pages;
    uint32_t seed = 21;
    for (const FramePage& p : c.pages) {
        pages.push_back(page(p.width, p.height, 300, p.sizeName,
                             seed % 2 ? photo(p.width, p.height, seed) : lineArt(p.width, p.height, false)));
        ++seed;
    }
    pageref::JobSettings s = tattooSettings(c.type, c.level);
    s.brightness = c.brightness;
    s.contrast = c.contrast;
    s.rotate180 = c.rotateMirror;
    s.mirror = c.rotateMirror;
    s.negative = c.negative;
    const Timed timed = printAndCompare(kStencilPpd, pages, s);
    expectFrameLogsAsReference(timed.result, pages, s);
}

INSTANTIATE_TEST_SUITE_P(Stencil, TattooFrames, ::testing::Range(0, static_cast<int>(std::size(kFrames))),
                         [](const ::testing::TestParamInfo<int>& info) { return kFrames[info.param].name; });

// ---------------------------------------------------------------------------
// Pages that the halftoning rules alone would never finish, and their
// neighbours: one gray level (0/0 moments, a NaN discriminant), a moment
// threshold of 255 (the gamma curve of Tattoo_Q6 then divides 0 by 0), one
// pixel a level off a uniform page (a NaN or an infinite discriminant,
// whose square root never settles), and tiny pages. Each job must finish
// promptly and print as the guarded model says.

struct DegenerateCase {
    const char* name;
    std::vector<RasterPage> (*pages)();
    // The moment threshold the model gives every page, -2 when it varies.
    int threshold;
};

std::vector<RasterPage> uniformPages()
{
    std::vector<RasterPage> pages;
    size_t index = 0;
    for (int v : {0, 1, 3, 63, 64, 104, 105, 127, 128, 129, 133, 134, 200, 254, 255}) {
        const unsigned w = index % 2 ? 24 : 13;
        const unsigned h = index % 3 ? 16 : 7;
        pages.push_back(page(w, h, 300, "Tattoo_A6", level(static_cast<uint8_t>(v))));
        ++index;
    }
    return pages;
}

std::vector<RasterPage> blackAndWhiteHalves()
{
    // Equal parts of 0 and 255: the cumulative share at 0 is exactly 0.5,
    // not above p0 = 0.5, so the threshold is 255.
    return {page(40, 20, 300, "Tattoo_A6", twoLevels(0, 255, [](unsigned x, unsigned) { return x >= 20; })),
            page(40, 20, 300, "Tattoo_A6", twoLevels(0, 255, [](unsigned, unsigned y) { return y < 10; })),
            page(17, 18, 300, "Tattoo_A6", twoLevels(0, 255, [](unsigned x, unsigned y) { return (x + y) % 2 == 0; })),
            page(2, 1, 300, "Tattoo_A6", twoLevels(0, 255, [](unsigned x, unsigned) { return x == 1; })),
            page(1, 2, 300, "Tattoo_A6", twoLevels(255, 0, [](unsigned, unsigned y) { return y == 1; })),
            page(2, 2, 300, "Tattoo_A6", twoLevels(0, 255, [](unsigned x, unsigned y) { return x == y; }))};
}

std::vector<RasterPage> mostlyDarkGray()
{
    // 95 % at level 3 and 5 % at 255.
    return {page(20, 20, 300, "Tattoo_A6", twoLevels(3, 255, [](unsigned x, unsigned y) { return y == 7 && x < 20; })),
            page(100, 1, 300, "Tattoo_A6", twoLevels(3, 255, [](unsigned x, unsigned) { return x % 20 == 19; })),
            page(1, 40, 300, "Tattoo_A6", twoLevels(3, 255, [](unsigned, unsigned y) { return y == 0 || y == 39; }))};
}

std::vector<RasterPage> fortyAndTwoHundred()
{
    // Equal parts of 40 and 200: the threshold is 200.
    return {page(30, 20, 300, "Tattoo_A6", twoLevels(40, 200, [](unsigned x, unsigned) { return x % 2 == 1; })),
            page(11, 6, 300, "Tattoo_A6", twoLevels(40, 200, [](unsigned, unsigned y) { return y >= 3; }))};
}

std::vector<RasterPage> oneLevelOffNaN()
{
    // 999 pixels of 76 and one of 77: the moments cancel to a NaN
    // discriminant.
    return {page(40, 25, 300, "Tattoo_A6", oneOff(76, 77, 13, 9)),
            page(25, 40, 300, "Tattoo_A6", oneOff(76, 77, 0, 0))};
}

std::vector<RasterPage> oneLevelOffInfinite()
{
    // 999 pixels of 172 and one of 173: an infinite discriminant. Its square
    // root gives no usable p0 and no level passes it: the threshold is -1,
    // so every pixel turns white.
    return {page(40, 25, 300, "Tattoo_A6", oneOff(172, 173, 39, 24)),
            page(50, 20, 300, "Tattoo_A6", oneOff(172, 173, 20, 10))};
}

std::vector<RasterPage> tinyPages()
{
    std::vector<RasterPage> pages;
    struct Size {
        unsigned w, h;
    };
    const Size sizes[] = {{1, 1}, {1, 2}, {1, 7}, {2, 1}, {7, 1}, {2, 2}, {3, 3}, {5, 2},
                          {2, 5}, {6, 3}, {1, 30}, {30, 1}, {9, 9}, {11, 4}, {3, 17}};
    size_t index = 0;
    for (const Size& size : sizes) {
        const Shade shade = index % 3 == 0   ? noise(static_cast<uint32_t>(index))
                            : index % 3 == 1 ? ramp(size.w)
                                             : photo(size.w, size.h, 4);
        pages.push_back(page(size.w, size.h, 300, index % 2 ? "Tattoo_A6" : "Custom", shade));
        ++index;
    }
    for (int v : {0, 90, 200, 255}) {
        pages.push_back(page(1, 1, 300, "Tattoo_A6", level(static_cast<uint8_t>(v))));
        pages.push_back(page(1, 5, 300, "Tattoo_A6", level(static_cast<uint8_t>(v))));
        pages.push_back(page(6, 1, 300, "Tattoo_A6", level(static_cast<uint8_t>(v))));
    }
    return pages;
}

const DegenerateCase kDegenerate[] = {
    {"UniformLevels", uniformPages, 128},
    {"BlackAndWhiteHalves", blackAndWhiteHalves, 255},
    {"MostlyDarkGray", mostlyDarkGray, 255},
    {"FortyAndTwoHundred", fortyAndTwoHundred, 200},
    {"OneLevelOffNaN", oneLevelOffNaN, 128},
    {"OneLevelOffInfinite", oneLevelOffInfinite, -1},
    {"TinyPages", tinyPages, -2},
};

class TattooGuards : public TattooPages, public ::testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(TattooGuards, FinishPromptlyAndPrintAsTheGuardedReference)
{
    const auto [index, type] = GetParam();
    const DegenerateCase& c = kDegenerate[index];
    const std::vector<RasterPage> pages = c.pages();
    pageref::JobSettings s = tattooSettings(type, 0);
    if (c.threshold != -2) {
        // The model reaches the case this job is about.
        for (size_t i = 0; i < pages.size(); ++i) {
            EXPECT_EQ(pageref::processPage(pageInput(pages[i]), s).tattooThreshold, c.threshold) << "page " << i + 1;
        }
    }
    const Timed plain = printAndCompare(kStencilPpd, pages, s);
    EXPECT_LT(plain.ms, kPromptMs);
    EXPECT_TRUE(plain.result.errHasLine("INFO: page " + std::to_string(pages.size())));

    // The same pages turned, inverted and framed (one-level pages stay one
    // level under rotation and mirroring).
    s.rotate180 = true;
    s.mirror = true;
    s.negative = true;
    s.antiWrinkle = 1;
    const Timed turned = printAndCompare(kStencilPpd, pages, s);
    EXPECT_LT(turned.ms, kPromptMs);

    // And with brightness and contrast, which move the levels (one-level
    // pages stay one level).
    s = tattooSettings(type, 0);
    s.brightness = 20;
    s.contrast = -30;
    const Timed adjusted = printAndCompare(kStencilPpd, pages, s);
    EXPECT_LT(adjusted.ms, kPromptMs);
}

INSTANTIATE_TEST_SUITE_P(Guards, TattooGuards,
    ::testing::Combine(::testing::Range(0, static_cast<int>(std::size(kDegenerate))),
                       ::testing::Values(kTattoo, kTattooQ6)),
    [](const ::testing::TestParamInfo<std::tuple<int, int>>& info) {
        return std::string(kDegenerate[std::get<0>(info.param)].name) + "_" + typeName(std::get<1>(info.param));
    });

// Brightness and contrast can make a page one-level or two-level: strong
// contrast drives a low-contrast page to 0 and 255 only, and a large
// brightness clips a dark page to a single level.
TEST_F(TattooPages, AdjustmentsThatLeaveOneOrTwoLevelsFinishPromptly)
{
    const std::vector<RasterPage> pages = {
        page(40, 20, 300, "Tattoo_A6", twoLevels(100, 156, [](unsigned x, unsigned) { return x >= 20; })),
        page(31, 9, 300, "Tattoo_A6", noise(77)),
        page(12, 12, 300, "Tattoo_A6", level(30))};
    struct Adjustment {
        int brightness;
        int contrast;
    };
    for (const Adjustment a : {Adjustment{0, 100}, Adjustment{100, 0}, Adjustment{-100, 0}, Adjustment{100, 100}}) {
        for (int type : {kTattoo, kTattooQ6}) {
            SCOPED_TRACE(std::string(typeName(type)) + " brightness " + std::to_string(a.brightness) + " contrast " +
                         std::to_string(a.contrast));
            pageref::JobSettings s = tattooSettings(type, 0);
            s.brightness = a.brightness;
            s.contrast = a.contrast;
            const Timed timed = printAndCompare(kStencilPpd, pages, s);
            EXPECT_LT(timed.ms, kPromptMs);
        }
    }
    // Brightness 100 adds 500 to every level: the noise page becomes one
    // level, 255.
    pageref::JobSettings s = tattooSettings(kTattooQ6, 0);
    s.brightness = 100;
    EXPECT_EQ(pageref::processPage(pageInput(pages[1]), s).tattooThreshold, 128);
}

// ---------------------------------------------------------------------------
// Several pages in one job, on both models: each page is halftoned on its
// own, whatever the page before it (size, content, a one-level page).

TEST_F(TattooPages, PagesOfOneJobAreIndependent)
{
    const std::vector<RasterPage> pages = {
        page(120, 80, 300, "Tattoo_A6", photo(120, 80, 9)),
        page(13, 5, 300, "Tattoo_A6", level(200)),
        page(64, 40, 300, "Tattoo_A5", twoLevels(0, 255, [](unsigned x, unsigned) { return x < 32; })),
        page(1, 1, 300, "Custom", level(255)),
        page(45, 60, 300, "Tattoo_A6", lineArt(45, 60, true)),
        page(120, 80, 300, "Tattoo_A6", photo(120, 80, 9)),
    };
    for (int type : {kTattoo, kTattooQ6}) {
        SCOPED_TRACE(typeName(type));
        pageref::JobSettings s = tattooSettings(type, 2);
        s.brightness = 10;
        const Timed stencil = printAndCompare(kStencilPpd, pages, s);
        EXPECT_LT(stencil.ms, 4 * kPromptMs);
        // The same picture twice in one job prints the same dots.
        const std::vector<SentImage> images = sent(stencil.result);
        ASSERT_EQ(images.size(), pages.size());
        EXPECT_EQ(images[0].packed, images[5].packed);
        EXPECT_EQ(stencil.result.errCount("DEBUG:PageProcess: HALV dithering is enabled"), pages.size());

        s.antiWrinkle = -1;
        const Timed label = printAndCompare(kLabelPpd, pages, s);
        EXPECT_LT(label.ms, 4 * kPromptMs);
        EXPECT_EQ(joinWords(controlWords(label.result.out)).find("FEED0"), std::string::npos);
    }
}

// The stencil model prints Tattoo when the job names no halftone type.
TEST_F(TattooPages, StencilModelDefaultsToTattoo)
{
    const std::vector<RasterPage> pages = {page(80, 60, 300, "Tattoo_A6", photo(80, 60, 3)),
                                           page(80, 60, 300, "Tattoo_A6", twoLevels(0, 255, [](unsigned x, unsigned) {
                                                    return x % 8 < 4;
                                                }))};
    const pageref::JobSettings s = tattooSettings(kTattoo, 0);
    printAndCompare(kStencilPpd, pages, s, false);
    // The two types print this page differently, so the default is seen.
    const pageref::JobSettings q6 = tattooSettings(kTattooQ6, 0);
    EXPECT_NE(pageref::processPage(pageInput(pages[0]), s).printed.packed,
              pageref::processPage(pageInput(pages[0]), q6).printed.packed);
}

// ---------------------------------------------------------------------------
// The page pipeline's lines for a tattoo page: the halftone image is read
// with the width as its stride and logged with the width rounded up to 4;
// after a frame, the output length still uses the page's own height.

TEST_F(TattooPages, LogLinesOfTheTattooPath)
{
    const std::vector<RasterPage> pages = {page(13, 5, 300, "Tattoo_A6", photo(13, 5, 8)),
                                           page(13, 5, 300, "Custom", photo(13, 5, 8))};
    pageref::JobSettings s = tattooSettings(kTattooQ6, 1);
    s.brightness = 10;
    s.contrast = 20;
    s.rotate180 = true;
    s.mirror = true;
    s.negative = true;
    const Timed timed = printAndCompare(kStencilPpd, pages, s);
    const auto logs = linesByPage(timed.result.err, {"DEBUG:PageProcess"});
    ASSERT_EQ(logs.size(), 2u);
    // Tattoo_A6, level 1: the image grows to 1205 columns, rows of 1208
    // bytes; 5 page rows of those.
    const uint32_t framedStride = pageref::processPage(pageInput(pages[0]), s).image.effWidth();
    ASSERT_EQ(framedStride, 1208u);
    for (size_t i = 0; i < 2; ++i) {
        const std::vector<std::string> expected = {
            "DEBUG:PageProcess: HALV dithering is enabled",
            "DEBUG:PageProcess: Successfully created DibImage from array with stride 13",
            "DEBUG:PageProcess: Adjusted brightness to 50 and contrast to 40",
            "DEBUG:PageProcess: Rotated the image 180 degrees",
            "DEBUG:PageProcess: Mirrored the image",
            "DEBUG:PageProcess: Copied pixels to the output buffer for HALV dithering, with stride 13, EffWidth 16",
            "DEBUG:PageProcess: Applied HALV dithering with stride 16, width 13",
            "DEBUG:PageProcess: Successfully created a new DibImage from HALV dithered data",
            "DEBUG:PageProcess: negativePrint_ 1",
            "DEBUG:PageProcess: Inverting the image for negative print",
            "DEBUG:PageProcess: Filled the output buffer with processed pixels, length: " +
                std::to_string(i == 0 ? 5 * 1208 : 5 * 16),
        };
        EXPECT_EQ(logs[i], expected) << "page " << i + 1;
    }
}

}  // namespace
