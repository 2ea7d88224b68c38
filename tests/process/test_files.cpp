// SPDX-License-Identifier: Apache-2.0
// The files the filter writes besides the printer stream: two bitmap
// captures of every page and the page geometry log. Names, numbering,
// permissions, contents, and names that are taken already.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>

#include "FilterProcess.h"

using namespace korvotest;

namespace {

uint32_t le32(const std::vector<uint8_t>& b, size_t at)
{
    return b.at(at) | b.at(at + 1) << 8 | b.at(at + 2) << 16 | uint32_t(b.at(at + 3)) << 24;
}

Job twoPages(const std::string& captureDir)
{
    return {.pages = {grayPage(10, 3, 203, randomShade(1)), grayPage(10, 3, 203, randomShade(2))},
            .run = {.captureDir = captureDir}};
}

// The name a capture takes at that time: origin or processed page, number.
std::string captureName(time_t when, int number)
{
    tm local;
    localtime_r(&when, &local);
    char name[128];
    snprintf(name, sizeof(name), "%s_%d-%d-%d_%d_%d_%d_%d.bmp", number % 2 ? "dithered" : "origin",
             local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, number);
    return name;
}

// Origin and processed captures alternate, numbered 0 to 3 over two pages,
// private to their owner. A page 10 pixels wide declares rows of 12 bytes
// but its body is the 10 x 3 bytes as they lie in memory.
TEST(Files, TwoCapturesPerPageNumberedInTurn)
{
    TempDir captures;
    struct statvfs space;
    ASSERT_EQ(statvfs(captures.path().c_str(), &space), 0);
    if (uint64_t{space.f_bavail} * space.f_frsize < (uint64_t{space.f_blocks} * space.f_frsize) / 10 + (2u << 30)) {
        GTEST_SKIP() << "the filter keeps no captures on a file system this full";
    }
    const time_t before = time(nullptr);
    ASSERT_EQ(print(twoPages(captures.path())).exitStatus, 0);
    const time_t after = time(nullptr);
    const std::vector<std::string> files = filesIn(captures.path());
    ASSERT_EQ(files.size(), 4u);
    for (int number = 0; number < 4; ++number) {
        const auto match = std::find_if(files.begin(), files.end(), [&](const std::string& name) {
            return name == captureName(before, number) || name == captureName(after, number);
        });
        ASSERT_NE(match, files.end()) << number;
        EXPECT_EQ(std::filesystem::status(captures.file(*match)).permissions(),
                  std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

        const std::vector<uint8_t> bmp = readFile(captures.file(*match));
        ASSERT_EQ(bmp.size(), 54u + 1024u + 10u * 3u);
        // The file size counting padded rows, the pixels' offset, the info
        // header's size, width, height, planes and bits per pixel, the pixels'
        // size, the colours used and important, and entry 200 of the gray ramp.
        const std::pair<size_t, uint32_t> fields[] = {
            {2, 1078u + 12u * 3u}, {10, 1078}, {14, 40},  {18, 10},  {22, 3},
            {26, 1 | 8 << 16},     {34, 36},   {46, 256}, {50, 256}, {54 + 4 * 200, 200u << 16 | 200u << 8 | 200u}};
        EXPECT_EQ(bmp[0] | bmp[1] << 8, 0x4D42);
        for (const auto& [offset, value] : fields) {
            EXPECT_EQ(le32(bmp, offset), value) << "at " << offset;
        }
    }
}

// Every name the job can take in the next few seconds is taken already, as
// a symbolic link to a file of someone else or as a file: the captures are
// not written, the pages print.
TEST(Files, CapturesNeverReplaceOrFollowExistingNames)
{
    TempDir dir;
    TempDir captures;
    const std::string victim = dir.file("victim");
    writeFile(victim, "k");
    const time_t now = time(nullptr);
    for (time_t t = now; t < now + 5; ++t) {
        for (int number = 0; number < 4; ++number) {
            if (number < 2) {
                ASSERT_EQ(symlink(victim.c_str(), captures.file(captureName(t, number)).c_str()), 0);
            } else {
                writeFile(captures.file(captureName(t, number)), "x");
            }
        }
    }
    const FilterResult taken = print(twoPages(captures.path()));
    EXPECT_EQ(taken.exitStatus, 0);
    EXPECT_EQ(taken.pages().size(), 2u);
    EXPECT_EQ(readText(victim), "k");
    EXPECT_EQ(filesIn(captures.path()).size(), 20u);
    for (const std::string& name : filesIn(captures.path())) {
        if (name.find("_2.bmp") != std::string::npos || name.find("_3.bmp") != std::string::npos) {
            EXPECT_EQ(readText(captures.file(name)), "x");
        }
    }
}

// The geometry log is rewritten for every page, never written through a
// symbolic link, and never into a file of another user, however open.
TEST(Files, GeometryLog)
{
    TempDir dir;
    Job job{.pages = {uniformPage(24, 5, 300, 0), uniformPage(8, 2, 203, 0)}, .run = {.geometryLog = dir.file("log")}};
    EXPECT_EQ(print(job).geometryLog, "cupsWidth:8, cupsHeight:2, cupsBytesPerLine:8, cupsBitsPerPixel:8\n");
    unlink(dir.file("log").c_str());
    writeFile(dir.file("victim"), "k");
    ASSERT_EQ(symlink(dir.file("victim").c_str(), dir.file("log").c_str()), 0);
    EXPECT_EQ(print(job).exitStatus, 0);
    EXPECT_EQ(readText(dir.file("victim")), "k");
    unlink(dir.file("log").c_str());
    writeFile(dir.file("log"), "theirs");
    ASSERT_EQ(chmod(dir.file("log").c_str(), 0666), 0);
    if (chown(dir.file("log").c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "giving a file to another user needs root";
    }
    EXPECT_EQ(print(job).exitStatus, 0);
    EXPECT_EQ(readText(dir.file("log")), "theirs");
}

// A capture that would leave less than 1 GiB free on its file system (here
// a small one of its own) is not written; the pages print all the same.
TEST(Files, CapturesLeaveTheFileSystemRoom)
{
    TempDir small;
    if (mount("korvo-test", small.path().c_str(), "tmpfs", 0, "size=64m") != 0) {
        GTEST_SKIP() << "mounting a small file system needs root";
    }
    const FilterResult result = print(twoPages(small.path()));
    EXPECT_EQ(result.pages().size(), 2u);
    EXPECT_TRUE(filesIn(small.path()).empty());
    umount(small.path().c_str());
}

}  // namespace
