// The two bitmap captures of every page: names and numbering, permissions,
// header, palette and body, and what happens when a capture cannot or must
// not be written.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include "PrintedJob.h"

using namespace korvotest;
using namespace printedjob;

namespace {

std::vector<std::string> filesIn(const std::string& directory)
{
    std::vector<std::string> names;
    if (DIR* dir = opendir(directory.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.') {
                names.push_back(entry->d_name);
            }
        }
        closedir(dir);
    }
    return names;
}

uint32_t le32(const std::vector<uint8_t>& b, size_t at)
{
    return b.at(at) | b.at(at + 1) << 8 | b.at(at + 2) << 16 | uint32_t(b.at(at + 3)) << 24;
}

FilterResult printTwoPages(const TempDir& dir, const std::string& captureDir)
{
    writeRaster(dir.file("job.ras"),
                {page(10, 3, 203, "A4", randomShade(1)), page(10, 3, 203, "A4", randomShade(2))});
    FilterRun run;
    run.ppd = ppdWithModel(dir, "korvr27.ppd", "TEST");
    run.rasterFile = dir.file("job.ras");
    run.env = {{"KORVO_TEST_CAPTURE_DIR", captureDir}};
    return runFilter(run);
}

// Origin and processed captures alternate, numbered 0 to 3 over two pages,
// private to their owner. A page 10 pixels wide declares rows of 12 bytes
// but its body is the 10 x 3 bytes as they lie in memory.
TEST(Captures, TwoFilesPerPageNumberedInTurn)
{
    TempDir dir;
    TempDir captures;
    const time_t before = time(nullptr);
    ASSERT_EQ(printTwoPages(dir, captures.path()).exitStatus, 0);
    std::vector<std::string> files = filesIn(captures.path());
    ASSERT_EQ(files.size(), 4u);
    for (int number = 0; number < 4; ++number) {
        const std::string kind = number % 2 ? "dithered_" : "origin_";
        const std::string suffix = "_" + std::to_string(number) + ".bmp";
        const auto match = std::find_if(files.begin(), files.end(), [&](const std::string& name) {
            return name.rfind(kind, 0) == 0 && name.size() > suffix.size() &&
                   name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
        });
        ASSERT_NE(match, files.end()) << kind << number;
        tm local;
        localtime_r(&before, &local);
        EXPECT_EQ(match->find(kind + std::to_string(local.tm_year + 1900) + "-" + std::to_string(local.tm_mon + 1) +
                              "-" + std::to_string(local.tm_mday) + "_"),
                  0u);
        struct stat info;
        ASSERT_EQ(stat(captures.file(*match).c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0600u);

        const std::vector<uint8_t> bmp = readFile(captures.file(*match));
        ASSERT_EQ(bmp.size(), 54u + 1024u + 10u * 3u);
        EXPECT_EQ(bmp[0], 'B');
        EXPECT_EQ(bmp[1], 'M');
        EXPECT_EQ(le32(bmp, 2), 1078u + 12u * 3u);  // file size counts padded rows
        EXPECT_EQ(le32(bmp, 10), 1078u);
        EXPECT_EQ(le32(bmp, 14), 40u);
        EXPECT_EQ(le32(bmp, 18), 10u);
        EXPECT_EQ(le32(bmp, 22), 3u);
        EXPECT_EQ(bmp[26] | bmp[27] << 8, 1);
        EXPECT_EQ(bmp[28] | bmp[29] << 8, 8);
        EXPECT_EQ(le32(bmp, 34), 12u * 3u);
        EXPECT_EQ(le32(bmp, 46), 256u);
        EXPECT_EQ(le32(bmp, 50), 256u);
        EXPECT_EQ(le32(bmp, 54 + 4 * 200), 200u << 16 | 200u << 8 | 200u);  // gray ramp
        if (number == 0) {
            const RasterPage first = page(10, 3, 203, "A4", randomShade(1));
            EXPECT_TRUE(std::equal(first.pixels.begin(), first.pixels.end(), bmp.begin() + 1078));
        }
    }
}

// A missing directory, or a name that already exists (as a file or as a
// symbolic link), gives the message and the page still prints.
TEST(Captures, NeverWrittenThroughExistingNamesOrMissingDirectories)
{
    TempDir dir;
    const FilterResult missing = printTwoPages(dir, dir.file("missing"));
    EXPECT_EQ(missing.exitStatus, 0);
    EXPECT_EQ(missing.errCount("KorvoPrinter::saveImage: unable to open the file " + dir.file("missing") + "/"), 4u);
    EXPECT_EQ(missing.errCount("doPrintImage: Image sent to the printer."), 2u);

    // Every name the run can take in the next few seconds is taken already.
    TempDir captures;
    const std::string victim = dir.file("victim");
    writeFile(victim, {'k'});
    const time_t now = time(nullptr);
    for (time_t t = now; t < now + 5; ++t) {
        tm local;
        localtime_r(&t, &local);
        for (int number = 0; number < 4; ++number) {
            char name[128];
            snprintf(name, sizeof(name), "%s_%d-%d-%d_%d_%d_%d_%d.bmp", number % 2 ? "dithered" : "origin",
                     local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                     number);
            if (number < 2) {
                ASSERT_EQ(symlink(victim.c_str(), captures.file(name).c_str()), 0);
            } else {
                writeFile(captures.file(name), {'x'});
            }
        }
    }
    const FilterResult taken = printTwoPages(dir, captures.path());
    EXPECT_EQ(taken.exitStatus, 0);
    EXPECT_EQ(taken.errCount("unable to open the file"), 4u);
    EXPECT_EQ(readFile(victim), std::vector<uint8_t>{'k'});
    for (const std::string& name : filesIn(captures.path())) {
        if (name.find("_2.bmp") != std::string::npos || name.find("_3.bmp") != std::string::npos) {
            EXPECT_EQ(readFile(captures.file(name)), std::vector<uint8_t>{'x'});
        }
    }
}

}  // namespace
