// SPDX-License-Identifier: Apache-2.0
// korvo-decode and the korvo-virtual backend on small streams built packet
// by packet, the backend run as the spooler runs it (as lp under root).
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>

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

// What korvo-decode says, and that it draws no picture unasked nor of a page
// too large to draw in reasonable time (634 million dots).
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
    // then a feed to the cutter (drawn 8 gray lines) and a cut (a dashed red
    // line): pixels at the edges of each part, and bit order, are checked.
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
    const unsigned white = 0xFFFFFF, gray = 0xD8D8D8, red = 0xE00000;
    const unsigned pixels[][3] = {
        {0, 9, white},    {856, 9, white},  {855, 10, white}, {856, 10, 0},     {859, 10, 0}, {860, 10, white},
        {867, 10, white}, {868, 10, 0},     {871, 10, 0},     {872, 10, white}, {856, 11, 0}, {857, 11, white},
        {863, 11, 0},     {864, 11, white}, {0, 12, gray},    {1727, 16, gray}, {0, 17, red}, {23, 19, red},
        {24, 17, gray},   {1727, 19, gray}, {1715, 19, red}};
    for (const auto& [x, y, colour] : pixels) {
        const uint8_t* pixel = &rgb[(y * png.width + x) * 3];
        EXPECT_EQ(uint32_t{pixel[0]} << 16 | uint32_t{pixel[1]} << 8 | pixel[2], colour) << "at " << x << ", " << y;
    }
}

// The command line that runs the backend with the Q6 PPD in a directory it owns.
std::string backend(const TempDir& dir, const std::string& uri, const std::string& args)
{
    const std::string asLp =
        geteuid() == 0 ? "chown lp:lp " + dir.path() + " && setpriv --reuid=lp --regid=lp --clear-groups " : "";
    return asLp + "env DEVICE_URI='" + uri + "' PPD=" + ppdWithModel(dir, "korvq6.ppd", "Q6") +
           " " KORVO_VIRTUAL_BIN " " + args + " 2>&1";
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
    return {bytes.begin(), bytes.end()};
}

// Each case runs job 1 in a directory of its own, D in what it says. The
// channels are files: fd 4 holds a request, if any, and gets the answer;
// fd 3 gets the replies to the stream's status queries. The stream is kept
// as it came, and the preview of a page is the picture korvo-decode draws.
TEST(VirtualPrinter, RefusesWhatItCannotDoAndAnswersOnBothChannels)
{
    const std::string job = "1 user title 1 '' D/job.bin 3>D/back 4<>D/side";
    const std::string query = packet(0x10, 0x40);
    const std::string page = kNul + query + area(0, 8) + packet(0x03, 0x00, {0xFF}) + query;
    struct Case {
        const char* what;
        std::string args;
        std::string uri;  // after korvo-virtual:D
        int status;
        std::string line;
        std::string stream = "";
        std::string side = "";  // request and answer
        std::string back = "";
    };
    const Case cases[] = {
        {"no arguments: the device listing", "", "", 0,
         "direct korvo-virtual \"Unknown\" \"Korvo virtual printer (page previews)\""},
        {"wrong arguments", "1 user", "", 1, "Usage: korvo-virtual job-id user title copies options [file]"},
        {"unknown status", job, "?status=ready,jammed", 4,
         "ERROR: Bad device URI \"korvo-virtual:D?status=ready,jammed\": unknown status \"jammed\" (use ready, "
         "paperout or coveropen)."},
        {"zero count", job, "?status=paperout:0", 4,
         "ERROR: Bad device URI \"korvo-virtual:D?status=paperout:0\": count \"0\" is not a number from 1 to 1000000."},
        {"unwritable directory", job, "/readonly", 4,
         "ERROR: Cannot keep previews: cannot create D/readonly/1: Permission denied."},
        {"a stream that does not decode", job, "", 1,
         "ERROR: The printer stream does not decode at byte 64: bad head byte 0x65; what arrived is in D/1/stream.bin.",
         kNul + "\x65\x0E\x40\x01"},
        {"device ID from the PPD", job, "", 0, "", "", exchange(4, 1, "MFG:Korvo;MDL:Q6;CMD:KORVO;CLS:PRINTER;")},
        {"device ID from the URI", job, "?model=R27", 0, "", "",
         exchange(4, 1, "MFG:Korvo;MDL:R27;CMD:KORVO;CLS:PRINTER;")},
        {"bidirectional", job, "", 0, "", "", exchange(3, 1, "\x01")},
        {"online", job, "", 0, "", "", exchange(5, 1, "\x01")},
        {"soft reset is not implemented", job, "", 0, "", "", exchange(1, 7, "")},
        {"paper out, then printed", job, "?status=paperout,ready", 0, "", page, "", reply(0x80000) + reply(0x880000)},
        {"cover open after the page, padded replies", job, "?status=ready,coveropen,ready&reply-size=20", 0, "",
         page + query, "", reply(0x800000, 20) + reply(0x10000, 20) + reply(0x880000, 20)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        auto inDir = [&](std::string text) { return std::regex_replace(text, std::regex("\\bD\\b"), dir.path()); };
        ASSERT_EQ(mkdir(dir.file("readonly").c_str(), 0555), 0);
        writeFile(dir.file("job.bin"), c.stream);
        writeFile(dir.file("side"), c.side.substr(0, 4));
        std::string said;
        EXPECT_EQ(runShell(backend(dir, "korvo-virtual:" + dir.path() + c.uri, inDir(c.args)), &said), c.status)
            << said;
        EXPECT_NE(said.find(inDir(c.line) + "\n"), std::string::npos) << said;
        EXPECT_EQ(readText(dir.file("side")), c.side);
        EXPECT_EQ(readText(dir.file("back")), c.back);
        const std::string preview = " && " KORVO_DECODE_BIN " --png " + dir.file("decoded") + " " +
                                    dir.file("job.bin") + " >/dev/null && cmp " + dir.file("decoded-1.png") + " " +
                                    dir.file("1/page-1.png");
        EXPECT_TRUE(c.stream.empty() || runShell("cmp " + dir.file("job.bin") + " " + dir.file("1/stream.bin") +
                                                 (c.status == 0 ? preview : "")) == 0);
    }
}

}  // namespace
