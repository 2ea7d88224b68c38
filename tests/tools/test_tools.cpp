// SPDX-License-Identifier: Apache-2.0
// korvo-decode and the korvo-virtual backend on small streams built packet
// by packet, the backend run as the spooler runs it (as lp when the test
// runs as root). tests/e2e has the backend behind the filter and a spooler.
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
    std::string bytes = {0x64, char(command), char(sub), char(payload.size() & 0xFF), char(payload.size() >> 8)};
    bytes.append(payload.begin(), payload.end());
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

// korvo-decode's exit status on the stream (none when empty); what it said.
int decode(const TempDir& dir, const std::string& stream, const std::string& options, std::string* out)
{
    writeFile(dir.file("stream.bin"), stream);
    const std::string file = stream.empty() ? std::string() : dir.file("stream.bin");
    return runShell(KORVO_DECODE_BIN " " + options + " " + file + " 2>&1", out);
}

// What korvo-decode says, and that it draws no picture unasked nor of a
// page too large to draw in reasonable time (a feed of 53,645 lines and a
// print area at offset 11,768: 634 million dots).
TEST(KorvoDecode, SaysItsUsageAndSummarisesTheStream)
{
    const std::string fourBlackRows = packet(0x03, 0x00, std::vector<unsigned>(4 * 216, 0xFF));  // 1728 dots wide
    const std::string usage = "Usage: korvo-decode [--resolution 203|300] [--png PREFIX] STREAM";
    TempDir dir;
    struct Case {
        const char* what;
        std::string stream;
        std::vector<std::string> lines;
        std::string options = "";
        int status = 0;
    };
    const Case cases[] = {
        {"help", "", {usage}, "--help"},
        {"misuse", kNul, {usage}, "--resolution 150", 2},
        {"an area centred on 2592 dots",
         kNul + area(432, 1728) + fourBlackRows,
         {"resolution: 300 dpi, printable width 2592 dots: the print area at byte 64 (offset 432, width 1728) is "
          "centred on 2592 dots",
          "pages: 1", "page 1: 1728 x 4 dots, 146.3 x 0.3 mm"}},
        {"an area as wide as 1728 dots",
         kNul + area(0, 1728) + fourBlackRows,
         {"resolution: 203 dpi, printable width 1728 dots: the print area at byte 64 (offset 0, width 1728) is "
          "centred on 1728 dots",
          "page 1: 1728 x 4 dots, 216.2 x 0.5 mm"}},
        {"the stencil pre-feed, the area fitting neither width",
         kNul + feed(0, 141) + area(8, 16) + packet(0x03, 0x00, {0xFF, 0xFF, 0xFF, 0xFF}) + packet(0x10, 0x40) + kNul +
             area(8, 16),
         {"resolution: 300 dpi, printable width 2592 dots: the stencil pre-feed at byte 64 has the 141 lines of 300 "
          "dpi",
          "pages: 1", "page 1: 16 x 2 dots, 1.4 x 0.2 mm"}},
        {"nothing tells; counts",
         kNul + packet(0x41, 0x00, {8}) + packet(0x10, 0x40) + feed(3, 0) + packet(0x02, 0x00) + feed(4, 0) +
             packet(0x10, 0x40),
         {"resolution: 300 dpi, printable width 2592 dots: nothing in the stream tells, so 300 dpi is assumed",
          "pages: 1", "page 1: no image", "feeds: 2 (mode 3: 1 x, 0 lines; mode 4: 1 x, 0 lines)", "cuts: 1",
          "density: 8", "status queries: 2"}},
        {"given", kNul + area(432, 1728), {"printable width 1728 dots: given with --resolution"}, "--resolution 203"},
        {"too large to draw",
         kNul + feed(0, 53645) + area(11768, 56) + packet(0x03, 0x00, std::vector<unsigned>(7, 0xFF)),
         {"korvo-decode: page 1 is 11824 x 53646 dots, too large to draw"},
         "--png " + dir.file("page"),
         1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::string said;
        EXPECT_EQ(decode(dir, c.stream, c.options, &said), c.status);
        for (const std::string& line : c.lines) {
            EXPECT_NE(said.find(line + "\n"), std::string::npos) << line << "\nin:\n" << said;
        }
    }
    EXPECT_EQ(filesIn(dir.path()), std::vector<std::string>{"stream.bin"});
}

TEST(KorvoDecode, PictureShowsThePaperAsPrinted)
{
    // At 203 dpi: 10 lines fed, two rows of 16 dots centred on 1728 dots,
    // then a feed to the cutter (drawn 8 lines) and a cut.
    TempDir dir;
    const std::string stream = kNul + feed(0, 10) + area(856, 16) + packet(0x03, 0x00, {0xF0, 0x0F, 0x81, 0x00}) +
                               feed(3, 0) + packet(0x02, 0x00);
    ASSERT_EQ(decode(dir, stream, "--png " + dir.file("page"), nullptr), 0);
    png_image png{.opaque = nullptr, .version = PNG_IMAGE_VERSION};
    ASSERT_NE(png_image_begin_read_from_file(&png, dir.file("page-1.png").c_str()), 0);
    png.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(png));
    ASSERT_NE(png_image_finish_read(&png, nullptr, rgb.data(), 0, nullptr), 0);
    ASSERT_EQ(png.width, 1728u);
    ASSERT_EQ(png.height, 10u + 2u + 8u);
    const uint32_t white = 0xFFFFFF;
    const uint32_t gray = 0xD8D8D8;  // paper fed, not drawn to scale
    for (unsigned y = 0; y < png.height; ++y) {
        for (unsigned x = 0; x < png.width; ++x) {
            uint32_t expected = y >= 12 ? gray : white;
            if (y >= 10 && y < 12 && x >= 856 && x < 872) {
                const unsigned bits = y == 10 ? 0xF00F : 0x8100;
                expected = (bits >> (15 - (x - 856))) & 1 ? 0 : white;
            } else if (y >= 17 && x % 36 < 24) {
                expected = 0xE00000;  // the cut mark, dashed
            }
            const uint8_t* pixel = &rgb[(y * png.width + x) * 3];
            ASSERT_EQ(uint32_t{pixel[0]} << 16 | uint32_t{pixel[1]} << 8 | pixel[2], expected)
                << "at " << x << ", " << y;
        }
    }
}

const std::string kJob = "1 user title 1 ''";

// The command line that runs the backend with the Q6 PPD in a directory it owns.
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

// A side-channel request as the filter sends it (the command, no data),
// then the answer: command, status, data length (two bytes), data.
std::string exchange(uint8_t command, uint8_t status, const std::string& data)
{
    const char head[] = {char(command), 0, 0, 0, char(command), char(status), 0, char(data.size())};
    return std::string(head, sizeof(head)) + data;
}

std::string reply(uint64_t status, size_t size = 13)
{
    const std::vector<uint8_t> bytes = statusReply(status, size);
    return std::string(bytes.begin(), bytes.end());
}

// The channels are files here: fd 4 holds a request, if any, before the
// backend starts, and gets the answer after it; fd 3 gets the replies to
// the status queries of the stream. A stream with a page is kept as it
// came, and its preview is the picture korvo-decode draws of it.
TEST(VirtualPrinter, AnswersOnBothChannels)
{
    const std::string query = packet(0x10, 0x40);
    const std::string page = kNul + query + area(0, 8) + packet(0x03, 0x00, {0xFF}) + query;
    struct Case {
        const char* what;
        std::string uriQuery;
        std::string side;  // request and answer
        std::string stream = "";
        std::string backReplies = "";
    };
    const Case cases[] = {
        {"device ID from the PPD", "", exchange(4, 1, "MFG:Korvo;MDL:Q6;CMD:KORVO;CLS:PRINTER;")},
        {"device ID from the URI", "?model=R27", exchange(4, 1, "MFG:Korvo;MDL:R27;CMD:KORVO;CLS:PRINTER;")},
        {"bidirectional", "", exchange(3, 1, "\x01")},
        {"online", "", exchange(5, 1, "\x01")},
        {"soft reset is not implemented", "", exchange(1, 7, "")},
        {"paper out, then printed", "?status=paperout,ready", "", page, reply(0x80000) + reply(0x880000)},
        {"cover open after the page, padded replies", "?status=ready,coveropen,ready&reply-size=20", "", page + query,
         reply(0x800000, 20) + reply(0x10000, 20) + reply(0x880000, 20)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        writeFile(dir.file("job.bin"), c.stream);
        writeFile(dir.file("side"), c.side.substr(0, 4));
        const std::string args =
            kJob + " " + dir.file("job.bin") + " 3>" + dir.file("back") + " 4<>" + dir.file("side");
        std::string said;
        EXPECT_EQ(runShell(backend(dir, "korvo-virtual:" + dir.path() + c.uriQuery, args), &said), 0) << said;
        EXPECT_EQ(readText(dir.file("side")), c.side);
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
