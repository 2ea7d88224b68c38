// SPDX-License-Identifier: Apache-2.0
// The korvo-virtual backend behind the real filter, wired as cupsd wires
// them, and on its own for what it refuses and what it answers on the back
// and side channels.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "ChildProcess.h"
#include "Job.h"
#include "PngFile.h"
#include "virtualprinter/UniqueFd.h"

using namespace korvotest;
using virtualprinter::UniqueFd;

namespace {

struct ChainResult {
    int filterStatus = -1;
    int backendStatus = -1;
    std::string filterErr;
    std::string backendErr;
};

struct Channel {
    UniqueFd a;
    UniqueFd b;
};

Channel pipeChannel(int flagsOfA)
{
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    fcntl(fds[0], F_SETFL, flagsOfA);
    return {UniqueFd(fds[0]), UniqueFd(fds[1])};
}

Channel socketChannel()
{
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    fcntl(fds[0], F_SETFL, O_NONBLOCK);
    fcntl(fds[1], F_SETFL, O_NONBLOCK);
    return {UniqueFd(fds[0]), UniqueFd(fds[1])};
}

Launch backendLaunch(const TempDir& dir, const std::string& uri, const std::vector<std::string>& args)
{
    return {.program = KORVO_VIRTUAL_BIN,
            .args = args,
            .env = {{"DEVICE_URI", uri}},
            .stdoutPath = dir.file("backend.out"),
            .stderrPath = dir.file("backend.err"),
            .asSpoolUser = true};
}

// The filter's standard output is piped into the backend; fd 3 is the back
// channel pipe (the filter's read end non-blocking), fd 4 the two ends of a
// non-blocking socketpair; the backend runs as lp.
ChainResult runChain(const TempDir& dir, const std::string& ppd, const std::string& options, const std::string& uri)
{
    Channel data = pipeChannel(0);
    Channel back = pipeChannel(O_NONBLOCK);
    Channel side = socketChannel();
    Launch filter{.program = testFilter(),
                  .args = {"--capture-dir=" + dir.path(), "--geometry-log=" + dir.file("geometry.log"),
                           "--poll-interval-ms=50", "--back-channel-fd=3", "--side-channel-fd=4", "1", "user", "title",
                           "1", options, dir.file("job.ras")},
                  .env = {{"PPD", ppd}},
                  .fds = {{1, data.b.get()}, {3, back.a.get()}, {4, side.a.get()}},
                  .stderrPath = dir.file("filter.err")};
    Launch backend = backendLaunch(dir, uri, {"1", "user", "title", "1", options});
    backend.env.push_back({"PPD", ppd});
    backend.fds = {{0, data.a.get()}, {3, back.b.get()}, {4, side.b.get()}};
    ChildProcess filterProcess(filter);
    ChildProcess backendProcess(backend);
    for (UniqueFd* fd : {&data.a, &data.b, &back.a, &back.b, &side.a, &side.b}) {
        fd->reset();  // the children hold their ends; the backend sees the end of the stream
    }
    ChainResult result;
    result.filterStatus = filterProcess.wait();
    result.backendStatus = backendProcess.wait();
    result.filterErr = readText(dir.file("filter.err"));
    result.backendErr = readText(dir.file("backend.err"));
    return result;
}

std::string wordsWithoutQueries(const korvostream::Stream& stream)
{
    std::string text;
    for (const std::string& word : korvostream::summarise(stream)) {
        text += word == "QUERY" ? "" : (text.empty() ? "" : " ") + word;
    }
    return text;
}

// Each text occurs in the haystack after the one before it.
::testing::AssertionResult inOrder(const std::string& haystack, const std::vector<std::string>& texts)
{
    size_t pos = 0;
    for (const std::string& text : texts) {
        pos = haystack.find(text, pos);
        if (pos == std::string::npos) {
            return ::testing::AssertionFailure() << "\"" << text << "\" missing or out of order in:\n" << haystack;
        }
    }
    return ::testing::AssertionSuccess();
}

TEST(VirtualPrinter, PlaysThePrinterBehindTheFilter)
{
    struct Scenario {
        const char* what;
        std::string ppd;
        std::string model;
        std::vector<RasterPage> pages;
        std::string options;
        std::string uriQuery;
        size_t queries;
        std::vector<std::string> filterSays;
        unsigned pictureWidth;
        unsigned linesBesideImage;  // stencil pre-feed, or the drawn feed to the cutter
    };
    const RasterPage label = grayPage(300, 60, 203, photoShade(7));
    const Scenario scenarios[] = {
        {"paper out for three polls, then ready",
         "korvk5.ppd",
         "K5",
         {grayPage(400, 200, 300, photoShade(3))},
         "",
         "?status=paperout:3,ready&reply-size=1024",
         5,
         {"STATE: +media-empty-warning\nINFO: Paper out.", "STATE: -media-empty-warning\nINFO: Printing",
          "INFO: page 1"},
         2592,
         141},
        {"cover open after the first of two pages, each cut",
         "korvr27.ppd",
         "R27",
         {label, label},
         "PostAction=Cut",
         "?status=ready,coveropen,ready&reply-size=1024",
         5,
         {"INFO: page 1", "STATE: +cover-open-warning", "STATE: -cover-open-warning", "INFO: page 2"},
         1728,
         8},
    };
    for (const Scenario& s : scenarios) {
        SCOPED_TRACE(s.what);
        TempDir dir;
        shareWithSpoolUser(dir.path());
        writeRaster(dir.file("job.ras"), s.pages);
        const ChainResult chain =
            runChain(dir, ppdWithModel(dir, s.ppd, s.model), s.options, "korvo-virtual:" + dir.path() + s.uriQuery);
        EXPECT_EQ(chain.filterStatus, 0);
        EXPECT_EQ(chain.backendStatus, 0) << chain.backendErr;
        EXPECT_TRUE(inOrder(chain.filterErr, s.filterSays));

        // The backend kept what the filter sends for this job: the packets
        // of a run that does not poll, with the status queries among them.
        const FilterResult reference = print({.ppd = s.ppd, .pages = s.pages, .options = s.options});
        const korvostream::Stream kept = korvostream::parseStream(readFile(dir.file("1/stream.bin")));
        EXPECT_TRUE(kept.errors.empty());
        EXPECT_EQ(wordsWithoutQueries(kept), reference.words());
        const std::vector<std::string> keptWords = korvostream::summarise(kept);
        EXPECT_EQ(static_cast<size_t>(std::count(keptWords.begin(), keptWords.end(), "QUERY")), s.queries);
        const std::vector<korvostream::Page> printed = reference.pages();
        ASSERT_EQ(printed.size(), s.pages.size());
        for (size_t i = 0; i < printed.size(); ++i) {
            EXPECT_EQ(korvostream::collectPages(kept)[i].packed, printed[i].packed);
            const PngFile picture = readPng(dir.file("1/page-" + std::to_string(i + 1) + ".png"));
            EXPECT_EQ(picture.width, s.pictureWidth);
            EXPECT_EQ(picture.height, printed[i].rows + s.linesBesideImage);
            EXPECT_TRUE(inOrder(chain.backendErr, {"INFO: Printed page " + std::to_string(i + 1) + " to " +
                                                   dir.file("1/page-" + std::to_string(i + 1) + ".png")}));
        }
    }
}

TEST(VirtualPrinter, RefusesWhatItCannotDo)
{
    TempDir dir;
    shareWithSpoolUser(dir.path());
    mkdir(dir.file("previews").c_str(), 0755);
    shareWithSpoolUser(dir.file("previews"));
    mkdir(dir.file("readonly").c_str(), 0555);
    const std::string undecodable = std::string(64, '\0') + "\x65\x0E\x40\x01";
    writeFile(dir.file("undecodable.bin"), undecodable);
    const std::string job[] = {"1", "user", "title", "1", ""};
    const std::vector<std::string> jobArgs(std::begin(job), std::end(job));
    const std::string uri = "korvo-virtual:" + dir.file("previews");
    struct Case {
        const char* what;
        std::vector<std::string> args;
        std::string uri;
        int status;
        std::string line;
    };
    const Case cases[] = {
        {"no arguments: the device listing",
         {},
         "",
         0,
         "direct korvo-virtual \"Unknown\" \"Korvo virtual printer (page previews)\""},
        {"wrong arguments", {"1", "user"}, uri, 1, "Usage: korvo-virtual job-id user title copies options [file]"},
        {"unknown status", jobArgs, uri + "?status=ready,jammed", 4,
         "ERROR: Bad device URI \"" + uri +
             "?status=ready,jammed\": unknown status \"jammed\" (use ready, paperout or "
             "coveropen)."},
        {"zero count", jobArgs, uri + "?status=paperout:0", 4,
         "ERROR: Bad device URI \"" + uri + "?status=paperout:0\": count \"0\" is not a number from 1 to 1000000."},
        {"unwritable directory", jobArgs, "korvo-virtual:" + dir.file("readonly"), 4,
         "ERROR: Cannot keep previews: cannot create " + dir.file("readonly/1") + ": Permission denied."},
        {"a stream that does not decode",
         {"1", "user", "title", "1", "", dir.file("undecodable.bin")},
         uri,
         1,
         "ERROR: The printer stream does not decode at byte 64: bad head byte 0x65; what arrived is in " +
             dir.file("previews/1/stream.bin") + "."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(runToEnd(backendLaunch(dir, c.uri, c.args)), c.status);
        const std::string said = readText(dir.file("backend.out")) + readText(dir.file("backend.err"));
        EXPECT_TRUE(inOrder(said, {c.line + "\n"}));
    }
    EXPECT_EQ(readText(dir.file("previews/1/stream.bin")), undecodable);
}

// Side-channel requests, and the status replies to the queries of a
// stream given as a file; fd 3 and fd 4 are read after the backend ends.
TEST(VirtualPrinter, AnswersOnBothChannels)
{
    using namespace std::string_literals;
    const auto answer = [](uint8_t command, uint8_t status, const std::string& data) {
        return std::string{static_cast<char>(command), static_cast<char>(status), 0, static_cast<char>(data.size())} +
               data;
    };
    const auto reply = [](uint64_t status, size_t size) {
        std::string bytes = "\x64\xFF\0\0\0"s;
        for (int i = 0; i < 8; ++i) {
            bytes += static_cast<char>(status >> (8 * i));
        }
        return bytes + std::string(size - bytes.size(), '\0');
    };
    const std::string query = "\x64\x10\x40\0\0\0\0\0\0\x9B"s;
    const std::string image = "\x64\x43\0\4\0\0\0\x08\0\0\0\0\0\x9B\x64\x03\0\1\0\xFF\0\0\0\0\x9B"s;
    const std::string page = std::string(64, '\0') + query + image + query;
    struct Case {
        const char* what;
        std::string uriQuery;
        uint8_t request;
        std::string stream;
        std::string sideAnswer;
        std::string backReplies;
    };
    const Case cases[] = {
        {"device ID from the PPD", "", 4, "", answer(4, 1, "MFG:Korvo;MDL:Q6;CMD:KORVO;CLS:PRINTER;"), ""},
        {"device ID from the URI", "?model=R27", 4, "", answer(4, 1, "MFG:Korvo;MDL:R27;CMD:KORVO;CLS:PRINTER;"), ""},
        {"bidirectional", "", 3, "", answer(3, 1, "\x01"), ""},
        {"online", "", 5, "", answer(5, 1, "\x01"), ""},
        {"soft reset is not implemented", "", 1, "", answer(1, 7, ""), ""},
        {"ready, then printed", "", 0, page, "", reply(0x800000, 13) + reply(0x880000, 13)},
        {"cover open after the page, padded replies", "?status=ready,coveropen,ready&reply-size=20", 0, page + query,
         "", reply(0x800000, 20) + reply(0x10000, 20) + reply(0x880000, 20)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        shareWithSpoolUser(dir.path());
        writeFile(dir.file("job.bin"), c.stream);
        const Channel back = pipeChannel(O_NONBLOCK);
        const Channel side = socketChannel();
        if (c.request != 0) {
            const uint8_t request[] = {c.request, 0, 0, 0};
            ASSERT_EQ(write(side.a.get(), request, sizeof(request)), 4);
        }
        Launch backend = backendLaunch(dir, "korvo-virtual:" + dir.path() + c.uriQuery,
                                       {"1", "user", "title", "1", "", dir.file("job.bin")});
        backend.env.push_back({"PPD", ppdWithModel(dir, "korvq6.ppd", "Q6")});
        backend.fds = {{3, back.b.get()}, {4, side.b.get()}};
        EXPECT_EQ(runToEnd(backend), 0);
        for (const auto& [fd, expected] : {std::pair{side.a.get(), c.sideAnswer}, {back.a.get(), c.backReplies}}) {
            char bytes[256];
            const ssize_t count = read(fd, bytes, sizeof(bytes));
            EXPECT_EQ(std::string(bytes, static_cast<size_t>(std::max<ssize_t>(count, 0))), expected);
        }
    }
}

}  // namespace
