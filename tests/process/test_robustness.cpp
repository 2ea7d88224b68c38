// SPDX-License-Identifier: Apache-2.0
// The filter under pressure: cancelled at any moment of a job, writing to a
// slow pipe, a page that promises more than it brings, many jobs at once
// and a long one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <thread>

#include "FilterProcess.h"

using namespace korvotest;
using Clock = std::chrono::steady_clock;

namespace {

// Prints the job to a printer that reads its pipe one byte at a time: the
// result, with the stream the printer received.
FilterResult printToSlowPrinter(Job job)
{
    int fds[2];
    EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
    auto received = std::async(std::launch::async, [reader = fds[0]] {
        std::vector<uint8_t> bytes;
        uint8_t byte;
        while (read(reader, &byte, 1) == 1) {
            bytes.push_back(byte);
        }
        close(reader);
        return bytes;
    });
    job.run.stdoutFd = fds[1];
    FilterResult result = print(job);
    close(fds[1]);  // the reader ends with the last writer
    result.out = received.get();
    return result;
}

// SIGTERM while the filter waits for raster data, writes a page to a
// printer that takes one byte at a time, halftones a large stencil page, or
// waits for a printer out of paper: the job ends at once with status 1, the
// printer has received whole packets only, and no job end.
TEST(Robustness, CancelEndsTheJobPromptlyAtAnyMoment)
{
    const RasterPage photo = grayPage(2480, 3508, 300, photoShade(5));
    // The first page, then nothing more: the filter waits for the rest.
    int input[2];
    ASSERT_EQ(pipe2(input, O_CLOEXEC), 0);
    writeRaster("/proc/self/fd/" + std::to_string(input[1]), {uniformPage(64, 8, 203, 9)});
    PrinterChannels paperOut([](int) { return PollAnswer{statusReply(0x80000)}; });
    struct Case {
        const char* moment;
        Job job;
        std::string after;
    };
    Case cases[] = {
        {"reading", {.rasterOnStdin = true, .run = {.stdinFd = input[0]}}, "PAGE: 1 1"},
        {"writing to a printer that reads slowly",
         {.pages = {photo, photo}, .options = "HalftoneType=None"},
         "doPrintImage: Converted image size"},
        {"halftoning",
         {.ppd = "korvk5.ppd", .pages = {photo, photo, photo}, .options = "HalftoneType=Tattoo_Q6"},
         "HALV dithering is enabled"},
        {"waiting for paper",
         {.model = "R27", .pages = {photo}, .run = {.pollIntervalMs = 5000, .printer = &paperOut}},
         "INFO: Paper out."},
    };
    for (Case& c : cases) {
        // SIGTERM once the filter's messages hold the text, and how long the
        // filter takes to end after that.
        Clock::duration taken{};
        c.job.run.whileRunning = [&](int pid, const std::string& messages) {
            while (countOf(readText(messages), c.after) == 0 && !hasExited(pid)) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            const auto sent = Clock::now();
            kill(pid, SIGTERM);
            while (!hasExited(pid)) {
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
            taken = Clock::now() - sent;
        };
        const FilterResult result = printToSlowPrinter(c.job);
        EXPECT_EQ(result.exitStatus, 1) << c.moment;
        EXPECT_LT(taken, std::chrono::milliseconds(100)) << c.moment;
        const std::string words = result.words();
        EXPECT_EQ(words.find("ERROR@"), std::string::npos) << c.moment << ": " << words;
        EXPECT_FALSE(words.ends_with("ROWS PC1 PC0 PC1") || words.ends_with("QUERY PC0 PC1"))
            << c.moment << ": " << words;
    }
    close(input[0]);
    close(input[1]);
}

// Raster read from standard input and a printer pipe read one byte at a
// time: the printer gets every byte of the stream it gets from a file.
TEST(Robustness, SlowPipeGetsTheWholeStream)
{
    Job job{.pages = {grayPage(600, 400, 203, photoShade(2)), grayPage(300, 200, 300, photoShade(3))},
            .options = "Occurrence=EveryPage PostAction=Cut HalftoneType=Stucki"};
    const FilterResult direct = print(job);
    EXPECT_EQ(direct.pages().size(), 2u);
    job.rasterOnStdin = true;
    const FilterResult slow = printToSlowPrinter(job);
    EXPECT_EQ(slow.exitStatus, 0);
    EXPECT_EQ(slow.out, direct.out);
}

// A header that promises a page of 65536 x 65535 dots without its pixels
// costs no memory; neither do the pages of a long job add up.
TEST(Robustness, MemoryFollowsTheDataThatArrives)
{
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "AddressSanitizer keeps freed memory in quarantine: resident memory says nothing here";
#endif
#endif
    RasterPage promise = uniformPage(1, 1, 300, 0);
    promise.header.cupsWidth = promise.header.cupsBytesPerLine = 65536;
    promise.header.cupsHeight = 65535;
    promise.pixels.clear();
    const FilterResult empty = print({.pages = {promise}});
    EXPECT_EQ(empty.exitStatus, 0);
    EXPECT_LT(empty.maxResidentKb, 64 * 1024);

    const RasterPage page = grayPage(640, 480, 203, photoShade(1));
    const FilterResult ten = print({.pages = {page}, .times = 10});
    const FilterResult long200 = print({.pages = {page}, .times = 200});
    EXPECT_EQ(long200.pages().size(), 200u);
#ifndef KORVO_TESTS_EMULATED  // the emulator's translations grow with the work done
    EXPECT_LT(long200.maxResidentKb, ten.maxResidentKb + 4 * 1024);
#endif
}

// Eight jobs at once, each its own process, print what each prints alone;
// no capture of one is written over by another.
TEST(Robustness, SimultaneousJobsKeepToThemselves)
{
    TempDir captures;
    std::vector<Job> jobs;
    for (uint32_t i = 0; i < 8; ++i) {
        jobs.push_back(
            {.ppd = i % 2 ? "korvk5.ppd" : "korvr27.ppd",
             .pages = {grayPage(400 + i, 300, 300, photoShade(i)), grayPage(200, 100 + i, 203, randomShade(i))},
             .options = "HalftoneType=" + std::string(i % 2 ? "Tattoo" : "Sierra")});
    }
    std::vector<Job> sharingCaptures = jobs;
    for (Job& job : sharingCaptures) {
        job.run.captureDir = captures.path();
    }
    std::vector<std::future<FilterResult>> together;
    for (const Job& job : sharingCaptures) {
        together.push_back(std::async(std::launch::async, print, job));
    }
    for (size_t i = 0; i < jobs.size(); ++i) {
        EXPECT_EQ(together[i].get().out, print(jobs[i]).out) << "job " << i;
    }
    // Every capture holds the header and the pixels of one page of one job
    // (the pages' sizes tell them apart).
    for (const std::string& name : filesIn(captures.path())) {
        const std::vector<uint8_t> bmp = readFile(captures.file(name));
        ASSERT_GE(bmp.size(), 1078u) << name;
        const uint32_t width = bmp[18] | bmp[19] << 8;
        const uint32_t height = bmp[22] | bmp[23] << 8;
        EXPECT_EQ(bmp.size(), 1078u + size_t(width) * height) << name;
        for (const Job& job : jobs) {
            for (const RasterPage& page : job.pages) {
                if (name.rfind("origin_", 0) == 0 && page.header.cupsWidth == width &&
                    page.header.cupsHeight == height) {
                    EXPECT_TRUE(std::equal(page.pixels.begin(), page.pixels.end(), bmp.begin() + 1078)) << name;
                }
            }
        }
    }
}

}  // namespace
