// The status wait over the back channel, against a virtual printer that
// answers drain requests and writes status replies.
#include <gtest/gtest.h>

#include <chrono>

#include "FilterProcess.h"
#include "PrinterChannels.h"
#include "RasterFile.h"
#include "StreamWords.h"

using namespace korvotest;

namespace {

constexpr uint64_t kReady = 0x800000;
constexpr uint64_t kPaperOut = 0x80000;
constexpr uint64_t kCoverOpen = 0x10000;

class PrinterStatus : public ::testing::Test {
protected:
    // A one-page job for the given model, served by the virtual printer.
    FilterResult printOnePage(const std::string& model, PrinterChannels& printer, int pollLimit = 300,
                              const std::string& ppdFile = "korvr27.ppd", int intervalMs = 20)
    {
        writeRaster(dir.file("job.ras"), {uniformPage(16, 2, 203, 0)});
        FilterRun run;
        run.binary = seamsFilter();
        run.ppd = ppdWithModel(dir, ppdFile, model);
        run.rasterFile = dir.file("job.ras");
        run.env = {{"KORVO_TEST_POLL_LIMIT", std::to_string(pollLimit)}, {"KORVO_TEST_POLL_INTERVAL_MS", std::to_string(intervalMs)}};
        run.backChannelFd = printer.backChannelFd();
        run.sideChannelFd = printer.sideChannelFd();
        run.whileRunning = [&printer](int pid) { printer.serve(pid); };
        return runFilter(run);
    }

    static size_t queries(const FilterResult& result)
    {
        size_t count = 0;
        for (const std::string& word : streamWords(result.out)) {
            count += word == "QUERY";
        }
        return count;
    }

    TempDir dir;
};

TEST_F(PrinterStatus, ReadyAtOnceThenPrinted)
{
    PrinterChannels printer([](int poll) {
        return PollAnswer{fullStatusReply(poll == 0 ? kReady : kReady | kPaperOut)};
    });
    const FilterResult result = printOnePage("R27", printer);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(printer.polls(), 2);
    EXPECT_EQ(joinWords(controlWords(result.out)),
              "NUL*64 PC0 DENSITY8 PC1 QUERY PC0 PC1 QUERY PC0 PC1");
    EXPECT_TRUE(result.errHasLine("DEBUG: Enter WaitForPrinterReady"));
    EXPECT_TRUE(result.errHasLine("DEBUG: Exit WaitForPrinterReady: ready to print."));
    EXPECT_TRUE(result.errHasLine("DEBUG: cups_sc_status_t = 1"));
    EXPECT_TRUE(result.errHasLine("DEBUG: cupsBackChannelRead bytes 1024"));
    // First the ready word, then the printed word (bit 19) with its messages.
    const std::string ready = "STATE: -media-empty-warning\nINFO: Printing\nSTATE: -cover-open-warning\n";
    const std::string printed = "STATE: +media-empty-warning\nINFO: Paper out.\nSTATE: -cover-open-warning\n";
    EXPECT_NE(result.err.find(ready), std::string::npos);
    EXPECT_LT(result.err.find(ready), result.err.find(printed));
    EXPECT_LT(result.err.find("INFO: page 1"), result.err.find(printed));
}

TEST_F(PrinterStatus, PaperOutKeepsWaitingUntilReady)
{
    PrinterChannels printer([](int poll) {
        const uint64_t status[] = {kReady | kPaperOut, kPaperOut, kReady, kReady | kPaperOut};
        return PollAnswer{fullStatusReply(status[poll < 4 ? poll : 3])};
    });
    const FilterResult result = printOnePage("V315", printer);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(printer.polls(), 4);
    EXPECT_EQ(queries(result), 4u);
    EXPECT_EQ(result.errCount("INFO: Paper out."), 3u);  // 0x880000, 0x80000, then 0x880000 after the page
    EXPECT_LT(result.err.find("INFO: Printing"), result.err.find("INFO: page 1"));
    EXPECT_LT(result.err.find("INFO: Paper out."), result.err.find("INFO: Printing"));
}

TEST_F(PrinterStatus, CoverOpenIsReported)
{
    PrinterChannels printer([](int poll) {
        const uint64_t status[] = {kCoverOpen, kReady, kPaperOut};
        return PollAnswer{fullStatusReply(status[poll < 3 ? poll : 2])};
    });
    const FilterResult result = printOnePage("K5", printer, 300, "korvk5.ppd");
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_NE(result.err.find("STATE: -media-empty-warning\nINFO: Printing\nSTATE: +cover-open-warning\n"),
              std::string::npos);
    EXPECT_NE(result.err.find("INFO: Printing\nSTATE: -cover-open-warning\n"), std::string::npos);
}

TEST_F(PrinterStatus, SameStatusTwiceIsReportedOnce)
{
    PrinterChannels printer([](int poll) {
        return PollAnswer{fullStatusReply(poll < 2 ? kPaperOut | kCoverOpen : (poll == 2 ? kReady : kPaperOut))};
    });
    const FilterResult result = printOnePage("Q6", printer, 300, "korvq6.ppd");
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(printer.polls(), 4);
    EXPECT_EQ(result.errCount("STATE: +cover-open-warning"), 1u);
    EXPECT_EQ(result.errCount("INFO: Paper out."), 2u);  // the repeated word, then 0x80000 after the page
}

// A 13-byte reply is the one the printer sends; the read loop then waits
// out its one-second timeout once.
TEST_F(PrinterStatus, ThirteenByteReplyCarriesTheStatusWord)
{
    PrinterChannels printer([](int poll) { return PollAnswer{statusReply(poll == 0 ? 0x880000 : kReady)}; });
    const FilterResult result = printOnePage("R27", printer, 2);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_TRUE(result.errHasLine("DEBUG: cupsBackChannelRead bytes 13"));
    EXPECT_TRUE(result.errHasLine(
        "DEBUG: cupsBackChannelRead Printer Status Data 13 bytes - 64 FF 00 00 00 00 00 88 00 00 00 00 00 "));
    EXPECT_EQ(result.errCount("INFO: Paper out."), 1u);
}

// Fewer than 13 bytes: the rest of the status word reads as zero.
TEST_F(PrinterStatus, ShortReplyLeavesTheRestOfTheWordZero)
{
    PrinterChannels printer([](int poll) {
        return PollAnswer{poll == 0 ? std::vector<uint8_t>{0x64, 0xFF, 0, 0, 0, 0x00, 0x00, 0x80}
                                    : fullStatusReply(kPaperOut)};
    });
    const FilterResult result = printOnePage("R27", printer, 3);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_TRUE(result.errHasLine("DEBUG: cupsBackChannelRead bytes 8"));
    EXPECT_TRUE(result.errHasLine("DEBUG: Exit WaitForPrinterReady: ready to print."));
    EXPECT_EQ(printer.polls(), 2);
}

TEST_F(PrinterStatus, ReplyWithAnotherHeadIsIgnored)
{
    PrinterChannels printer([](int poll) {
        std::vector<uint8_t> reply = fullStatusReply(poll == 0 ? kReady : (poll == 1 ? kReady : kPaperOut));
        if (poll == 0) {
            reply[0] = 0x65;
        }
        return PollAnswer{reply};
    });
    const FilterResult result = printOnePage("R27", printer);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(printer.polls(), 3);
    EXPECT_EQ(result.errCount("INFO: Printing"), 1u);
}

TEST_F(PrinterStatus, ModelThatIsNotPolledSendsAndLogsNothing)
{
    PrinterChannels printer([](int) { return PollAnswer{fullStatusReply(kReady)}; });
    const FilterResult result = printOnePage("R27X", printer);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(printer.polls(), 0);
    EXPECT_EQ(queries(result), 0u);
    EXPECT_EQ(result.errCount("WaitForPrinterReady"), 0u);
    EXPECT_EQ(result.errCount("cups_sc_status_t"), 0u);
}

// The wait gives up after its poll limit and the job goes on.
TEST_F(PrinterStatus, PollLimitEndsTheWait)
{
    PrinterChannels printer([](int) { return PollAnswer{fullStatusReply(kCoverOpen)}; });
    const FilterResult result = printOnePage("R27", printer, 3);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(printer.polls(), 6);
    EXPECT_EQ(queries(result), 6u);
    EXPECT_TRUE(result.errHasLine("INFO: page 1"));
    EXPECT_FALSE(result.errHasLine("DEBUG: Exit WaitForPrinterReady: ready to print."));
    EXPECT_TRUE(result.errHasLine("STATE: -media-empty-warning"));
}

// A reply that comes after its poll timed out must not answer the next
// poll: here the late reply says "ready", the next ones "paper out".
TEST_F(PrinterStatus, LateReplyIsNotTakenForTheNextPoll)
{
    PrinterChannels printer([](int poll) {
        if (poll == 0) {
            return PollAnswer{fullStatusReply(kReady), true};
        }
        const uint64_t status[] = {0, kPaperOut, kReady, kPaperOut};
        return PollAnswer{fullStatusReply(status[poll < 4 ? poll : 3])};
    });
    // The late answer lands between the timed-out poll and the next one.
    const FilterResult result = printOnePage("R27", printer, 10, "korvr27.ppd", 600);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_TRUE(result.errHasLine("DEBUG: cups_sc_status_t = 3")) << result.err;
    // Poll 1 reported paper out: the stale "ready" was dropped.
    EXPECT_LT(result.err.find("INFO: Paper out."), result.err.find("INFO: Printing"));
    EXPECT_EQ(printer.polls(), 4);
}

// Started by hand without descriptors 3 and 4: the side channel fails at
// once and the back channel is never read (libcups would spin on it).
TEST_F(PrinterStatus, ClosedChannelsAreNeverRead)
{
    writeRaster(dir.file("job.ras"), {uniformPage(16, 2, 203, 0)});
    FilterRun run;
    run.binary = seamsFilter();
    run.ppd = ppdWithModel(dir, "korvr27.ppd", "R27");
    run.rasterFile = dir.file("job.ras");
    run.env = {{"KORVO_TEST_POLL_LIMIT", "2"}, {"KORVO_TEST_POLL_INTERVAL_MS", "10"}};
    run.closeChannels = true;
    const auto start = std::chrono::steady_clock::now();
    const FilterResult result = runFilter(run);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(queries(result), 4u);
    EXPECT_EQ(result.errCount("cupsBackChannelRead bytes"), 0u);
}

}  // namespace
