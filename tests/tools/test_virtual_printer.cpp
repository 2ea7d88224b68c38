// SPDX-License-Identifier: Apache-2.0
// The korvo-virtual backend run from a shell as the spooler runs it (as lp
// when the test runs as root): what it refuses, and what it answers on the
// side and back channels. tests/e2e has it behind the filter and a spooler.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FilterProcess.h"

using namespace korvotest;
using namespace std::string_literals;

namespace {

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
    const std::string undecodable = std::string(64, '\0') + "\x65\x0E\x40\x01";
    writeFile(dir.file("undecodable.bin"), undecodable);
    // A feed of 53,645 lines and a print area at offset 11,768.
    writeFile(dir.file("large.bin"), std::string(64, '\0') + "\x64\0\0\3\0\0\x8d\xd1\0\0\0\0\x9b"s +
                                         "\x64\x43\0\4\0\xf8\x2d\x38\0\0\0\0\0\x9b"s);
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
    const std::string query = "\x64\x10\x40\0\0\0\0\0\0\x9B"s;
    const std::string image = "\x64\x43\0\4\0\0\0\x08\0\0\0\0\0\x9B\x64\x03\0\1\0\xFF\0\0\0\0\x9B"s;
    const std::string page = std::string(64, '\0') + query + image + query;
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
