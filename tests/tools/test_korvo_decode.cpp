// SPDX-License-Identifier: Apache-2.0
// korvo-decode on small streams built packet by packet: its usage, the
// summary with the resolution it infers, and the page pictures' layout.
#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "FilterProcess.h"
#include "PngFile.h"

using namespace korvotest;

namespace {

std::string packet(uint8_t command, uint8_t sub, const std::vector<unsigned>& payload = {})
{
    std::string bytes = {0x64, static_cast<char>(command), static_cast<char>(sub),
                         static_cast<char>(payload.size() & 0xFF), static_cast<char>(payload.size() >> 8)};
    for (const unsigned byte : payload) {
        bytes += static_cast<char>(byte);
    }
    return bytes + std::string(4, '\0') + "\x9B";
}

std::string feed(unsigned mode, unsigned lines)
{
    return packet(0x00, 0x00, {mode, lines & 0xFF, lines >> 8});
}

std::string area(unsigned offset, unsigned width)
{
    return packet(0x43, 0x00, {offset & 0xFF, offset >> 8, width & 0xFF, width >> 8});
}

// Rows of a print area width bytes wide, the same byte throughout.
std::string rows(size_t count, size_t rowBytes, unsigned byte)
{
    return packet(0x03, 0x00, std::vector<unsigned>(count * rowBytes, byte));
}

struct Decoded {
    int status = -1;
    std::string out;
    std::string err;
};

Decoded decode(const TempDir& dir, const std::string& stream, std::vector<std::string> args)
{
    writeFile(dir.file("stream.bin"), stream);
    args.push_back(dir.file("stream.bin"));
    Decoded result;
    result.status = runToEnd(
        {.program = KORVO_DECODE_BIN, .args = args, .stdoutPath = dir.file("out"), .stderrPath = dir.file("err")});
    result.out = readText(dir.file("out"));
    result.err = readText(dir.file("err"));
    return result;
}

TEST(KorvoDecode, HelpAndMisuse)
{
    TempDir dir;
    const std::string usage = "Usage: korvo-decode [--resolution 203|300] [--png PREFIX] STREAM\n";
    EXPECT_EQ(runToEnd({.program = KORVO_DECODE_BIN, .args = {"--help"}, .stdoutPath = dir.file("out")}), 0);
    EXPECT_EQ(readText(dir.file("out")).rfind(usage, 0), 0u);
    const Decoded badResolution = decode(dir, "", {"--resolution", "150"});
    EXPECT_EQ(badResolution.status, 2);
    EXPECT_EQ(badResolution.err, usage);
}

TEST(KorvoDecode, SummaryGivesSizesAndHowTheResolutionWasFound)
{
    const std::string nul(64, '\0');
    struct Case {
        const char* what;
        std::string stream;
        std::vector<std::string> args;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {"an area centred on 2592 dots",
         nul + area(432, 1728) + rows(4, 216, 0xFF),
         {},
         {"resolution: 300 dpi, printable width 2592 dots: the print area at byte 64 (offset 432, width 1728) is "
          "centred on 2592 dots",
          "pages: 1", "page 1: 1728 x 4 dots, 146.3 x 0.3 mm"}},
        {"an area as wide as 1728 dots",
         nul + area(0, 1728) + rows(4, 216, 0xFF),
         {},
         {"resolution: 203 dpi, printable width 1728 dots: the print area at byte 64 (offset 0, width 1728) is "
          "centred on 1728 dots",
          "page 1: 1728 x 4 dots, 216.2 x 0.5 mm"}},
        {"the stencil pre-feed, the area fitting neither width",
         nul + feed(0, 141) + area(8, 16) + rows(2, 2, 0xFF) + packet(0x10, 0x40) + nul + area(8, 16),
         {},
         {"resolution: 300 dpi, printable width 2592 dots: the stencil pre-feed at byte 64 has the 141 lines of 300 "
          "dpi",
          "pages: 1", "page 1: 16 x 2 dots, 1.4 x 0.2 mm"}},
        {"nothing tells; counts",
         nul + packet(0x41, 0x00, {8}) + packet(0x10, 0x40) + feed(3, 0) + packet(0x02, 0x00) + feed(4, 0) +
             packet(0x10, 0x40),
         {},
         {"resolution: 300 dpi, printable width 2592 dots: nothing in the stream tells, so 300 dpi is assumed",
          "pages: 1", "page 1: no image", "feeds: 2 (mode 3: 1 x, 0 lines; mode 4: 1 x, 0 lines)", "cuts: 1",
          "density: 8", "status queries: 2"}},
        {"given",
         nul + area(432, 1728),
         {"--resolution", "203"},
         {"printable width 1728 dots: given with --resolution"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        const Decoded decoded = decode(dir, c.stream, c.args);
        EXPECT_EQ(decoded.status, 0) << decoded.err;
        for (const std::string& line : c.lines) {
            EXPECT_NE(decoded.out.find(line + "\n"), std::string::npos) << line << "\nin:\n" << decoded.out;
        }
    }
}

TEST(KorvoDecode, PictureShowsThePaperAsPrinted)
{
    // At 203 dpi: 10 lines fed, two rows of 16 dots centred on 1728 dots,
    // then a feed to the cutter (drawn 8 lines) and a cut.
    TempDir dir;
    const std::string stream = std::string(64, '\0') + feed(0, 10) + area(856, 16) +
                               packet(0x03, 0x00, {0xF0, 0x0F, 0x81, 0x00}) + feed(3, 0) + packet(0x02, 0x00);
    const Decoded decoded = decode(dir, stream, {"--png", dir.file("page")});
    EXPECT_EQ(decoded.status, 0) << decoded.err;
    const PngFile png = readPng(dir.file("page-1.png"));
    ASSERT_EQ(png.width, 1728u);
    ASSERT_EQ(png.height, 10u + 2u + 8u);
    const Rgb white{255, 255, 255};
    const Rgb black{0, 0, 0};
    const Rgb gray{0xD8, 0xD8, 0xD8};
    const Rgb red{0xE0, 0, 0};
    for (unsigned y = 0; y < png.height; ++y) {
        for (unsigned x = 0; x < png.width; ++x) {
            Rgb expected = white;
            if (y >= 10 && y < 12 && x >= 856 && x < 872) {
                const unsigned bits = y == 10 ? 0xF00F : 0x8100;
                expected = (bits >> (15 - (x - 856))) & 1 ? black : white;
            } else if (y >= 17) {
                expected = x % 36 < 24 ? red : gray;
            } else if (y >= 12) {
                expected = gray;
            }
            ASSERT_EQ(png.at(x, y), expected) << "at " << x << ", " << y;
        }
    }
}

}  // namespace
