// Whole jobs through the built filter: arguments, input, page loop, job
// start and end sequences, and the failures that end a job early.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "FilterProcess.h"
#include "RasterFile.h"
#include "StreamWords.h"

using namespace korvotest;

namespace {

const std::vector<std::string> kPageStart = {"NUL*64", "PC0", "DENSITY8", "PC1"};

std::vector<std::string> concat(std::initializer_list<std::vector<std::string>> parts)
{
    std::vector<std::string> all;
    for (const auto& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class FilterJob : public ::testing::Test {
protected:
    FilterRun job(const std::vector<RasterPage>& pages, const std::string& options = "")
    {
        const std::string raster = dir.file("job.ras");
        writeRaster(raster, pages);
        FilterRun run;
        run.ppd = ppdWithModel(dir, "korvr27.ppd", "TEST");
        run.rasterFile = raster;
        run.options = options;
        return run;
    }

    TempDir dir;
};

// Five arguments counting the program name: the options are missing.
TEST_F(FilterJob, FiveArgumentsPrintUsageAndFail)
{
    FilterRun run;
    run.binary = shippedFilter();
    run.args = {"1", "user", "title", "1"};
    const FilterResult result = runFilter(run);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err,
              "rastertokorvoppli v1.0.0\n\nUsage:\n\n    rastertokorvoppli job_id user title copyies options "
              "[file]\n\n");
    EXPECT_TRUE(result.out.empty());
}

TEST_F(FilterJob, UnopenableFileFailsWithoutOutput)
{
    FilterRun run;
    run.binary = shippedFilter();
    run.rasterFile = dir.file("missing.ras");
    run.ppd = builtPpd("korvr27.ppd");
    const FilterResult result = runFilter(run);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "ERROR: Unable to open raster file - ");
    EXPECT_TRUE(result.out.empty());
}

TEST_F(FilterJob, MissingPaperSizeEndsBeforeAnyOutput)
{
    FilterRun run = job({uniformPage(16, 4, 203, 0)});
    run.binary = shippedFilter();
    run.ppd.clear();
    const FilterResult result = runFilter(run);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.errHasLine("ERROR: Paper size must not less than 1.0 : (0.000000, 0.000000)"));
    EXPECT_TRUE(result.out.empty());
}

TEST_F(FilterJob, StandardInputGivesTheSameStreamAsAFile)
{
    FilterRun fromFile = job({uniformPage(24, 5, 203, 0), uniformPage(24, 5, 203, 0)});
    FilterRun fromStdin = fromFile;
    fromStdin.stdinFile = fromFile.rasterFile;
    fromStdin.rasterFile.clear();
    const FilterResult a = runFilter(fromFile);
    const FilterResult b = runFilter(fromStdin);
    EXPECT_EQ(a.exitStatus, 0);
    EXPECT_EQ(b.exitStatus, 0);
    EXPECT_EQ(a.out, b.out);
    EXPECT_TRUE(b.errHasLine("INFO: page 2"));
}

TEST_F(FilterJob, EveryPageStartsWithNulsAndTheStartSequence)
{
    const FilterResult result = runFilter(job({uniformPage(24, 5, 203, 0), uniformPage(24, 5, 203, 0)}));
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<std::string> page = concat({kPageStart, {"PC0", "PC1"}});
    EXPECT_EQ(joinWords(controlWords(result.out)), joinWords(concat({page, page, {"PC0", "PC1"}})));
    EXPECT_TRUE(result.errHasLine("INFO: page 1"));
    EXPECT_TRUE(result.errHasLine("INFO: page 2"));
    EXPECT_TRUE(result.errHasLine("STATE: -media-empty-warning"));
    EXPECT_TRUE(result.errHasLine("DEBUG: Enter jobSetup"));
    EXPECT_TRUE(result.errHasLine("DEBUG: Exit jobEnd"));
}

// The packet bytes of the start sequence, the tear-off feed and the cut, as
// the printer reads them.
TEST_F(FilterJob, PacketBytesOnTheWire)
{
    const FilterResult result =
        runFilter(job({uniformPage(8, 1, 203, 0)}, "Occurrence=EveryPage PostAction=Cut"));
    ASSERT_EQ(result.exitStatus, 0);
    const std::vector<uint8_t> expectedStart = {
        0x64, 0x0E, 0x40, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,  // PrintControl(0)
        0x64, 0x41, 0x00, 0x01, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x9B,  // density 8
        0x64, 0x0E, 0x40, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x9B,  // PrintControl(1)
    };
    ASSERT_GE(result.out.size(), 64 + expectedStart.size());
    EXPECT_EQ(std::vector<uint8_t>(result.out.begin(), result.out.begin() + 64), std::vector<uint8_t>(64, 0));
    EXPECT_EQ(std::vector<uint8_t>(result.out.begin() + 64, result.out.begin() + 64 + expectedStart.size()),
              expectedStart);
    const std::vector<uint8_t> feedThenCut = {
        0x64, 0x00, 0x00, 0x03, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,  // FeedPaper(3, 0)
        0x64, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,                    // DoPaperCut()
    };
    const auto found = std::search(result.out.begin(), result.out.end(), feedThenCut.begin(), feedThenCut.end());
    EXPECT_NE(found, result.out.end());
}

TEST_F(FilterJob, EmptyRasterSendsOnlyTheJobEnd)
{
    FilterRun run = job({});
    run.binary = shippedFilter();
    const FilterResult result = runFilter(run);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(joinWords(streamWords(result.out)), "PC0 PC1");
    EXPECT_TRUE(result.errHasLine("STATE: -media-empty-warning"));
}

TEST_F(FilterJob, ZeroHeightPageEndsTheJobNormally)
{
    RasterPage empty = uniformPage(16, 0, 203, 0);
    const FilterResult result = runFilter(job({uniformPage(16, 2, 203, 0), empty, uniformPage(16, 2, 203, 0)}));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(joinWords(controlWords(result.out)),
              joinWords(concat({kPageStart, {"PC0", "PC1"}, {"PC0", "PC1"}})));
    EXPECT_FALSE(result.errHasLine("INFO: page 2"));
}

TEST_F(FilterJob, OneBitPageFailsWithoutJobEnd)
{
    RasterPage page = uniformPage(16, 2, 203, 0);
    page.header.cupsBitsPerColor = 1;
    page.header.cupsBitsPerPixel = 1;
    page.header.cupsBytesPerLine = 2;
    page.pixels.assign(4, 0);
    const FilterResult result = runFilter(job({uniformPage(16, 2, 203, 0), page}));
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.errHasLine("ERROR:Unsupported bits per pixel : 1 ! Requires 8 bits per pixel!"));
    EXPECT_EQ(joinWords(controlWords(result.out)), joinWords(concat({kPageStart, {"PC0", "PC1"}})));
    EXPECT_FALSE(result.errHasLine("STATE: -media-empty-warning"));
}

TEST_F(FilterJob, PageWhosePixelsCannotBeReadIsNotCounted)
{
    RasterPage truncated = uniformPage(32, 10, 203, 0);
    truncated.pixels.resize(32 * 3);
    const FilterResult result = runFilter(job({uniformPage(32, 2, 203, 0), truncated}));
    EXPECT_EQ(result.exitStatus, 0);
    // The second page's NULs and start sequence have gone out, nothing else.
    EXPECT_EQ(joinWords(controlWords(result.out)),
              joinWords(concat({kPageStart, {"PC0", "PC1"}, kPageStart, {"PC0", "PC1"}})));
    EXPECT_TRUE(result.errHasLine("INFO: page 1"));
    EXPECT_FALSE(result.errHasLine("INFO: page 2"));
    EXPECT_TRUE(result.errHasLine("DEBUG:PAGE: 1 1"));
}

TEST_F(FilterJob, PageLargerThanFourGigabytesIsRefused)
{
    RasterPage huge = uniformPage(16, 1, 203, 0);
    huge.header.cupsWidth = 70000;
    huge.header.cupsBytesPerLine = 70000;
    huge.header.cupsHeight = 70000;
    huge.pixels.clear();
    const FilterResult result = runFilter(job({huge}));
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.errHasLine(
        "ERROR:Page too large: 70000 bytes per line x 70000 lines exceeds 4 GiB"))
        << result.err;
    EXPECT_TRUE(result.out.empty());
}

TEST_F(FilterJob, PageWiderThanItsLinesIsRefused)
{
    RasterPage narrow = uniformPage(16, 4, 203, 0);
    narrow.header.cupsWidth = 20;
    const FilterResult result = runFilter(job({uniformPage(16, 2, 203, 0), narrow}));
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.errHasLine("ERROR:Page width 20 is larger than its 16 bytes per line")) << result.err;
    EXPECT_TRUE(result.errHasLine("INFO: page 1"));
    EXPECT_FALSE(result.errHasLine("STATE: -media-empty-warning"));
}

// A page of zero width cannot be loaded: nothing is printed for it, not
// even the previous page again.
TEST_F(FilterJob, PageOfZeroWidthPrintsNothing)
{
    RasterPage empty = uniformPage(16, 3, 203, 0);
    empty.header.cupsWidth = 0;
    const FilterResult result = runFilter(job({uniformPage(16, 2, 203, 255), empty}));
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(joinWords(streamWords(result.out)),
              "NUL*64 PC0 DENSITY8 PC1 PC0 AREA ROWS PC1 NUL*64 PC0 DENSITY8 PC1 PC0 PC1 PC0 PC1");
    EXPECT_TRUE(result.errHasLine("INFO: page 2"));
    EXPECT_TRUE(result.errHasLine("CRIT:dibimage.CreateFromArray with grey failed!"));
    EXPECT_TRUE(result.errHasLine("ERROR:printImage: pimage is NULL, unable to print the image"));
}

TEST_F(FilterJob, HeaderIsLoggedForEveryPage)
{
    const FilterResult result = runFilter(job({uniformPage(24, 5, 300, 0)}));
    ASSERT_EQ(result.exitStatus, 0);
    for (const char* line : {"DEBUG:header.HWResolution[0]:300", "DEBUG:header.cupsWidth:24",
                             "DEBUG:header.cupsHeight:5", "DEBUG:header.cupsBytesPerLine:24",
                             "DEBUG:header.cupsColorSpace:3", "DEBUG:pageWidth: 2.032000,pageHeight: 0.423333"}) {
        EXPECT_TRUE(result.errHasLine(line)) << line;
    }
    // The two formats ending in a newline leave an empty line after them.
    EXPECT_NE(result.err.find("DEBUG:PAGE: 0 1\n\nDEBUG:header.HWResolution[0]:300\n\n"), std::string::npos);
}

// The page geometry goes to /tmp/xxxxx.log, which is never followed through
// a symbolic link.
TEST_F(FilterJob, GeometryLogDoesNotFollowSymlinks)
{
    const char* logPath = "/tmp/xxxxx.log";
    unlink(logPath);
    FilterRun run = job({uniformPage(24, 5, 203, 0)});
    ASSERT_EQ(runFilter(run).exitStatus, 0);
    const std::vector<uint8_t> log = readFile(logPath);
    EXPECT_EQ(std::string(log.begin(), log.end()),
              "cupsWidth:24, cupsHeight:5, cupsBytesPerLine:24, cupsBitsPerPixel:8\n");

    unlink(logPath);
    const std::string target = dir.file("victim");
    writeFile(target, {'k', 'e', 'e', 'p'});
    ASSERT_EQ(symlink(target.c_str(), logPath), 0);
    const FilterResult result = runFilter(run);
    unlink(logPath);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(readFile(target), (std::vector<uint8_t>{'k', 'e', 'e', 'p'}));
}

}  // namespace
