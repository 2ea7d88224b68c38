// Whole jobs through the built filter: arguments, input, page loop, job
// start and end sequences, and the failures that end a job early.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "FilterProcess.h"
#include "RasterFile.h"
#include "StreamWords.h"

using namespace korvotest;

namespace {

const std::string kPage = "NUL*64 PC0 DENSITY8 PC1 PC0 AREA ROWS PC1 ";
const std::string kPageStart = "NUL*64 PC0 DENSITY8 PC1 ";
const std::string kJobEnd = "PC0 PC1";

RasterPage pageWith(unsigned width, unsigned height, const std::function<void(RasterPage&)>& change)
{
    RasterPage page = uniformPage(width, height, 203, 200);
    change(page);
    return page;
}

FilterRun job(const TempDir& dir, const std::vector<RasterPage>& pages, const std::string& options = "")
{
    writeRaster(dir.file("job.ras"), pages);
    FilterRun run;
    run.ppd = ppdWithModel(dir, "korvr27.ppd", "TEST");
    run.rasterFile = dir.file("job.ras");
    run.options = options;
    return run;
}

// Arguments, input and the paper size are checked before anything goes to
// the printer.
TEST(FilterJob, EarlyEndingsSendNothing)
{
    TempDir dir;
    FilterRun usage;
    usage.args = {"1", "user", "title", "1"};  // five arguments with the program name
    FilterRun unopenable = job(dir, {});
    unopenable.rasterFile = dir.file("missing.ras");
    FilterRun noPaperSize = job(dir, {uniformPage(16, 4, 203, 0)});
    noPaperSize.ppd.clear();
    const std::pair<FilterRun, std::string> cases[] = {
        {usage, "rastertokorvoppli v1.0.0\n\nUsage:\n\n    rastertokorvoppli job_id user title copyies options [file]\n\n"},
        {unopenable, "ERROR: Unable to open raster file - "},
        {noPaperSize, "ERROR: Paper size must not less than 1.0 : (0.000000, 0.000000)\n"}};
    for (auto [run, message] : cases) {
        run.binary = shippedFilter();
        const FilterResult result = runFilter(run);
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_EQ(result.err.substr(result.err.size() - std::min(result.err.size(), message.size())), message);
        EXPECT_TRUE(result.out.empty());
    }
}

TEST(FilterJob, StandardInputGivesTheSameStreamAsAFile)
{
    TempDir dir;
    const FilterRun fromFile = job(dir, {uniformPage(24, 4, 203, 0), uniformPage(24, 4, 203, 0)});
    FilterRun fromStdin = fromFile;
    fromStdin.stdinFile = fromFile.rasterFile;
    fromStdin.rasterFile.clear();
    const FilterResult a = runFilter(fromFile);
    const FilterResult b = runFilter(fromStdin);
    EXPECT_EQ(a.exitStatus, 0);
    EXPECT_EQ(a.out, b.out);
    EXPECT_EQ(joinWords(streamWords(b.out)), kPage + kPage + kJobEnd);
    for (const char* line : {"INFO: page 1", "INFO: page 2", "STATE: -media-empty-warning", "DEBUG: Enter jobSetup",
                             "DEBUG: Exit jobSetup", "DEBUG: Enter jobEnd", "DEBUG: Exit jobEnd"}) {
        EXPECT_TRUE(b.errHasLine(line)) << line;
    }
}

struct PageCase {
    const char* what;
    std::vector<RasterPage> pages;
    int status;
    std::string words;
    std::vector<std::string> lines;  // that must be among the messages
};

// Pages that end or skip: each case checks the exit status, the whole
// packet sequence and its telling messages. A job that fails sends no job
// end and no final state line.
TEST(FilterJob, PagesThatEndOrSkip)
{
    const RasterPage good = uniformPage(16, 2, 203, 200);
    const PageCase cases[] = {
        {"empty raster", {}, 0, kJobEnd, {"STATE: -media-empty-warning"}},
        {"zero height ends the job", {good, pageWith(16, 0, [](RasterPage&) {}), good}, 0, kPage + kJobEnd, {}},
        {"1-bit page",
         {good, pageWith(16, 2, [](RasterPage& p) {
              p.header.cupsBitsPerColor = p.header.cupsBitsPerPixel = 1;
              p.header.cupsBytesPerLine = 2;
              p.pixels.assign(4, 0);
          })},
         1, kPage.substr(0, kPage.size() - 1),
         {"ERROR:Unsupported bits per pixel : 1 ! Requires 8 bits per pixel!"}},
        // libcups cannot read on after a short page: the page is not
        // counted, nothing is printed for it, the job ends normally.
        {"unreadable pixels", {good, pageWith(32, 10, [](RasterPage& p) { p.pixels.resize(32 * 3); })}, 0,
         kPage + kPageStart + kJobEnd, {"DEBUG:PAGE: 1 1", "STATE: -media-empty-warning"}},
        {"over 4 GiB",
         {pageWith(16, 1, [](RasterPage& p) {
             p.header.cupsWidth = p.header.cupsBytesPerLine = p.header.cupsHeight = 70000;
             p.pixels.clear();
         })},
         1, "", {"ERROR:Page too large: 70000 bytes per line x 70000 lines exceeds 4 GiB"}},
        {"wider than its lines", {good, pageWith(16, 4, [](RasterPage& p) { p.header.cupsWidth = 20; })}, 1,
         kPage.substr(0, kPage.size() - 1), {"ERROR:Page width 20 is larger than its 16 bytes per line"}},
        // A page that cannot be loaded prints nothing, not the previous page.
        {"zero width", {good, pageWith(16, 3, [](RasterPage& p) { p.header.cupsWidth = 0; })}, 0,
         kPage + kPageStart + "PC0 PC1 " + kJobEnd,
         {"INFO: page 2", "CRIT:dibimage.CreateFromArray with grey failed!",
          "ERROR:printImage: pimage is NULL, unable to print the image"}},
    };
    for (const PageCase& c : cases) {
        TempDir dir;
        const FilterResult result = runFilter(job(dir, c.pages));
        EXPECT_EQ(result.exitStatus, c.status) << c.what;
        EXPECT_EQ(joinWords(streamWords(result.out)), c.words) << c.what;
        for (const std::string& line : c.lines) {
            EXPECT_TRUE(result.errHasLine(line)) << c.what << ": " << line;
        }
        EXPECT_EQ(result.errHasLine("STATE: -media-empty-warning"), c.status == 0) << c.what;
    }
}

// The packet bytes of the start sequence, the feed and the cut, as the
// printer reads them.
TEST(FilterJob, PacketBytesOnTheWire)
{
    TempDir dir;
    const FilterResult result = runFilter(job(dir, {uniformPage(8, 1, 203, 0)}, "Occurrence=EveryPage PostAction=Cut"));
    std::vector<uint8_t> start(64, 0);
    start.insert(start.end(), {0x64, 0x0E, 0x40, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,    // PrintControl(0)
                               0x64, 0x41, 0x00, 0x01, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x9B,    // density 8
                               0x64, 0x0E, 0x40, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x9B});  // PrintControl(1)
    ASSERT_GE(result.out.size(), start.size());
    EXPECT_TRUE(std::equal(start.begin(), start.end(), result.out.begin()));
    const std::vector<uint8_t> feedThenCut = {0x64, 0x00, 0x00, 0x03, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                              0x9B, 0x64, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B};
    EXPECT_NE(std::search(result.out.begin(), result.out.end(), feedThenCut.begin(), feedThenCut.end()),
              result.out.end());
}

// The header of every page is logged; the two formats ending in a newline
// leave an empty line. The geometry also goes to /tmp/xxxxx.log, which is
// never written through a symbolic link.
TEST(FilterJob, PageHeaderLogs)
{
    TempDir dir;
    const char* logPath = "/tmp/xxxxx.log";
    unlink(logPath);
    const FilterRun run = job(dir, {uniformPage(24, 5, 300, 0)});
    const FilterResult result = runFilter(run);
    EXPECT_NE(result.err.find("DEBUG:PAGE: 0 1\n\nDEBUG:header.HWResolution[0]:300\n\nDEBUG:header.HWResolution[1]:300\n"
                              "DEBUG:header.cupsWidth:24\nDEBUG:header.cupsHeight:5\n"),
              std::string::npos);
    EXPECT_TRUE(result.errHasLine("DEBUG:pageWidth: 2.032000,pageHeight: 0.423333"));
    const std::vector<uint8_t> log = readFile(logPath);
    EXPECT_EQ(std::string(log.begin(), log.end()), "cupsWidth:24, cupsHeight:5, cupsBytesPerLine:24, cupsBitsPerPixel:8\n");

    unlink(logPath);
    writeFile(dir.file("victim"), {'k'});
    ASSERT_EQ(symlink(dir.file("victim").c_str(), logPath), 0);
    EXPECT_EQ(runFilter(run).exitStatus, 0);
    unlink(logPath);
    EXPECT_EQ(readFile(dir.file("victim")), std::vector<uint8_t>{'k'});
}

}  // namespace
