// SPDX-License-Identifier: Apache-2.0
// The tools around the filter, each on its own, on small streams built
// packet by packet: korvo-decode (its usage, the summary with the resolution
// it infers, and the page pictures' layout) and the korvo-virtual backend
// run from a shell as the spooler runs it (as lp when the test runs as
// root): what it refuses, and what it answers on the side and back channels.
// tests/e2e has the backend behind the filter and a spooler.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FilterProcess.h"

using namespace korvotest;

namespace {

// The NUL bytes a job starts with.
const std::string kNul(64, '\0');

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

const std::string kUsage = "Usage: korvo-decode [--resolution 203|300] [--png PREFIX] STREAM\n";

// korvo-decode's exit status on the stream, with its output and errors in *out.
int decode(const TempDir& dir, const std::string& stream, const std::string& options, std::string* out)
{
    writeFile(dir.file("stream.bin"), stream);
    return runShell(KORVO_DECODE_BIN " " + options + " " + dir.file("stream.bin") + " 2>&1", out);
}

// The picture's pixels as 0xRRGGBB, row by row, read with libpng, which
// leaves its size in image.
std::vector<uint32_t> readPng(const std::string& path, png_image& image)
{
    image = {.opaque = nullptr, .version = PNG_IMAGE_VERSION};
    std::vector<uint8_t> rgb;
    if (png_image_begin_read_from_file(&image, path.c_str()) != 0) {
        image.format = PNG_FORMAT_RGB;
        rgb.resize(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr);
    }
    std::vector<uint32_t> pixels;
    for (size_t i = 0; i + 2 < rgb.size(); i += 3) {
        pixels.push_back(uint32_t{rgb[i]} << 16 | uint32_t{rgb[i + 1]} << 8 | rgb[i + 2]);
    }
    return pixels;
}

TEST(KorvoDecode, HelpAndMisuse)
{
    TempDir dir;
    std::string help;
    EXPECT_EQ(runShell(KORVO_DECODE_BIN " --help", &help), 0);
    EXPECT_EQ(help.rfind(kUsage, 0), 0u) << help;
    std::string misuse;
    EXPECT_EQ(decode(dir, "", "--resolution 150", &misuse), 2);
    EXPECT_EQ(misuse, kUsage);
}

TEST(KorvoDecode, SummaryGivesSizesAndHowTheResolutionWasFound)
{
    const std::string fourBlackRows = packet(0x03, 0x00, std::vector<unsigned>(4 * 216, 0xFF));  // 1728 dots wide
    struct Case {
        const char* what;
        std::string stream;
        std::string options;
        std::vector<std::string> lines;
    };
    const Case cases[] = {
        {"an area centred on 2592 dots",
         kNul + area(432, 1728) + fourBlackRows,
         "",
         {"resolution: 300 dpi, printable width 2592 dots: the print area at byte 64 (offset 432, width 1728) is "
          "centred on 2592 dots",
          "pages: 1", "page 1: 1728 x 4 dots, 146.3 x 0.3 mm"}},
        {"an area as wide as 1728 dots",
         kNul + area(0, 1728) + fourBlackRows,
         "",
         {"resolution: 203 dpi, printable width 1728 dots: the print area at byte 64 (offset 0, width 1728) is "
          "centred on 1728 dots",
          "page 1: 1728 x 4 dots, 216.2 x 0.5 mm"}},
        {"the stencil pre-feed, the area fitting neither width",
         kNul + feed(0, 141) + area(8, 16) + packet(0x03, 0x00, {0xFF, 0xFF, 0xFF, 0xFF}) + packet(0x10, 0x40) + kNul +
             area(8, 16),
         "",
         {"resolution: 300 dpi, printable width 2592 dots: the stencil pre-feed at byte 64 has the 141 lines of 300 "
          "dpi",
          "pages: 1", "page 1: 16 x 2 dots, 1.4 x 0.2 mm"}},
        {"nothing tells; counts",
         kNul + packet(0x41, 0x00, {8}) + packet(0x10, 0x40) + feed(3, 0) + packet(0x02, 0x00) + feed(4, 0) +
             packet(0x10, 0x40),
         "",
         {"resolution: 300 dpi, printable width 2592 dots: nothing in the stream tells, so 300 dpi is assumed",
          "pages: 1", "page 1: no image", "feeds: 2 (mode 3: 1 x, 0 lines; mode 4: 1 x, 0 lines)", "cuts: 1",
          "density: 8", "status queries: 2"}},
        {"given", kNul + area(432, 1728), "--resolution 203", {"printable width 1728 dots: given with --resolution"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        std::string summary;
        EXPECT_EQ(decode(dir, c.stream, c.options, &summary), 0);
        for (const std::string& line : c.lines) {
            EXPECT_NE(summary.find(line + "\n"), std::string::npos) << line << "\nin:\n" << summary;
        }
    }
}

TEST(KorvoDecode, PictureShowsThePaperAsPrinted)
{
    // At 203 dpi: 10 lines fed, two rows of 16 dots centred on 1728 dots,
    // then a feed to the cutter (drawn 8 lines) and a cut.
    TempDir dir;
    const std::string stream = kNul + feed(0, 10) + area(856, 16) + packet(0x03, 0x00, {0xF0, 0x0F, 0x81, 0x00}) +
                               feed(3, 0) + packet(0x02, 0x00);
    ASSERT_EQ(decode(dir, stream, "--png " + dir.file("page"), nullptr), 0);
    png_image png;
    const std::vector<uint32_t> pixels = readPng(dir.file("page-1.png"), png);
    ASSERT_EQ(png.width, 1728u);
    ASSERT_EQ(png.height, 10u + 2u + 8u);
    const uint32_t white = 0xFFFFFF;
    const uint32_t black = 0;
    const uint32_t gray = 0xD8D8D8;  // paper fed, not drawn to scale
    const uint32_t red = 0xE00000;   // the cut mark
    for (unsigned y = 0; y < png.height; ++y) {
        for (unsigned x = 0; x < png.width; ++x) {
            uint32_t expected = white;
            if (y >= 10 && y < 12 && x >= 856 && x < 872) {
                const unsigned bits = y == 10 ? 0xF00F : 0x8100;
                expected = (bits >> (15 - (x - 856))) & 1 ? black : white;
            } else if (y >= 17) {
                expected = x % 36 < 24 ? red : gray;
            } else if (y >= 12) {
                expected = gray;
            }
            ASSERT_EQ(pixels[y * png.width + x], expected) << "at " << x << ", " << y;
        }
    }
}

// A page too large to draw in reasonable time (a feed of 53,645 lines and a
// print area at offset 11,768: 634 million dots) is left out and said so.
TEST(KorvoDecode, PagesTooLargeToDrawAreLeftOut)
{
    TempDir dir;
    const std::string stream =
        kNul + feed(0, 53645) + area(11768, 56) + packet(0x03, 0x00, std::vector<unsigned>(7, 0xFF));
    std::string said;
    EXPECT_EQ(decode(dir, stream, "--png " + dir.file("page"), &said), 1);
    EXPECT_NE(said.find("korvo-decode: page 1 is 11824 x 53646 dots, too large to draw\n"), std::string::npos) << said;
    EXPECT_EQ(filesIn(dir.path()), std::vector<std::string>{"stream.bin"});
}

const std::string kJob = "1 user title 1 ''";

// The command line that runs the backend in a directory it owns, with the
// Q6 PPD, its standard output and errors together.
std::string backend(const TempDir& dir, const std::string& uri, const std::string& args)
{
    const std::string asLp =
        geteuid() == 0 ? "chown lp:lp " + dir.path() + " && setpriv --reuid=lp --regid=lp --clear-groups " : "";
    return asLp + "env DEVICE_URI='" + uri + "' PPD=" + ppdWithModel(dir, "korvq6.ppd", "Q6") +
           " " KORVO_VIRTUAL_BIN " " + args + " 2>&1";
}

TEST(VirtualPrinter, RefusesWhatItCannotDo)
{
    TempDir dir;
    ASSERT_EQ(mkdir(dir.file("readonly").c_str(), 0555), 0);
    const std::string undecodable = kNul + "\x65\x0E\x40\x01";
    writeFile(dir.file("undecodable.bin"), undecodable);
    writeFile(dir.file("large.bin"), kNul + feed(0, 53645) + area(11768, 56));
    const std::string uri = "korvo-virtual:" + dir.path();
    struct Case {
        const char* what;
        std::string args;
        std::string uri;
        int status;
        std::string line;
    };
    const Case cases[] = {
        {"no arguments: the device listing", "", "", 0,
         "direct korvo-virtual \"Unknown\" \"Korvo virtual printer (page previews)\""},
        {"wrong arguments", "1 user", uri, 1, "Usage: korvo-virtual job-id user title copies options [file]"},
        {"unknown status", kJob, uri + "?status=ready,jammed", 4,
         "ERROR: Bad device URI \"" + uri +
             "?status=ready,jammed\": unknown status \"jammed\" (use ready, paperout or coveropen)."},
        {"zero count", kJob, uri + "?status=paperout:0", 4,
         "ERROR: Bad device URI \"" + uri + "?status=paperout:0\": count \"0\" is not a number from 1 to 1000000."},
        {"unwritable directory", kJob, "korvo-virtual:" + dir.file("readonly"), 4,
         "ERROR: Cannot keep previews: cannot create " + dir.file("readonly/1") + ": Permission denied."},
        {"a page too large to draw", kJob + " " + dir.file("large.bin"), uri, 0,
         "WARNING: Page 1 is 11824 x 53645 dots, too large to draw; it has no preview."},
        {"a stream that does not decode", kJob + " " + dir.file("undecodable.bin"), uri, 1,
         "ERROR: The printer stream does not decode at byte 64: bad head byte 0x65; what arrived is in " +
             dir.file("1/stream.bin") + "."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::string said;
        EXPECT_EQ(runShell(backend(dir, c.uri, c.args), &said), c.status);
        EXPECT_NE(said.find(c.line + "\n"), std::string::npos) << said;
    }
    EXPECT_EQ(readText(dir.file("1/stream.bin")), undecodable);
}

// A side-channel message: command, status, data length (two bytes), data.
std::string answer(uint8_t command, uint8_t status, const std::string& data)
{
    return std::string{static_cast<char>(command), static_cast<char>(status), 0, static_cast<char>(data.size())} + data;
}

// A status reply of that size, as text.
std::string reply(uint64_t status, size_t size = 13)
{
    const std::vector<uint8_t> bytes = statusReply(status, size);
    return std::string(bytes.begin(), bytes.end());
}

// A side-channel request, as the filter sends it with no data.
std::string request(uint8_t command)
{
    return {static_cast<char>(command), 0, 0, 0};
}

// The channels are files here: fd 4 holds a request, if any, before the
// backend starts, and gets the answer after it; fd 3 gets the replies to
// the status queries of the stream. A stream with a page is kept as it
// came, and its preview is the picture korvo-decode draws of it.
TEST(VirtualPrinter, AnswersOnBothChannels)
{
    const std::string query = packet(0x10, 0x40);
    const std::string image = area(0, 8) + packet(0x03, 0x00, {0xFF});
    const std::string page = kNul + query + image + query;
    struct Case {
        const char* what;
        std::string uriQuery;
        std::string request;
        std::string stream;
        std::string sideAnswer;
        std::string backReplies;
    };
    const Case cases[] = {
        {"device ID from the PPD", "", request(4), "", answer(4, 1, "MFG:Korvo;MDL:Q6;CMD:KORVO;CLS:PRINTER;"), ""},
        {"device ID from the URI", "?model=R27", request(4), "",
         answer(4, 1, "MFG:Korvo;MDL:R27;CMD:KORVO;CLS:PRINTER;"), ""},
        {"bidirectional", "", request(3), "", answer(3, 1, "\x01"), ""},
        {"online", "", request(5), "", answer(5, 1, "\x01"), ""},
        {"soft reset is not implemented", "", request(1), "", answer(1, 7, ""), ""},
        {"paper out, then printed", "?status=paperout,ready", "", page, "", reply(0x80000) + reply(0x880000)},
        {"cover open after the page, padded replies", "?status=ready,coveropen,ready&reply-size=20", "", page + query,
         "", reply(0x800000, 20) + reply(0x10000, 20) + reply(0x880000, 20)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        writeFile(dir.file("job.bin"), c.stream);
        writeFile(dir.file("side"), c.request);
        const std::string args =
            kJob + " " + dir.file("job.bin") + " 3>" + dir.file("back") + " 4<>" + dir.file("side");
        std::string said;
        EXPECT_EQ(runShell(backend(dir, "korvo-virtual:" + dir.path() + c.uriQuery, args), &said), 0) << said;
        EXPECT_EQ(readText(dir.file("side")), c.request + c.sideAnswer);
        EXPECT_EQ(readText(dir.file("back")), c.backReplies);
        if (!c.stream.empty()) {
            EXPECT_NE(said.find("INFO: Printed page 1 to " + dir.file("1/page-1.png") + "\n"), std::string::npos);
            EXPECT_EQ(runShell("cmp " + dir.file("job.bin") + " " + dir.file("1/stream.bin") +
                               " && " KORVO_DECODE_BIN " --png " + dir.file("decoded") + " " + dir.file("job.bin") +
                               " >/dev/null && cmp " + dir.file("decoded-1.png") + " " + dir.file("1/page-1.png")),
                      0);
        }
    }
}

}  // namespace
