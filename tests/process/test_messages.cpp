// SPDX-License-Identifier: Apache-2.0
// What the filter tells the spooler on standard error: usage and failures,
// the page loop, the printer's status from the back channel, the job
// settings.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <optional>

#include "Filter.h"
#include "FilterProcess.h"
#include "OndrelPrinter.h"

using namespace korvotest;

namespace {

// Each text must be found after the one before it.
::testing::AssertionResult inOrder(const std::string& err, const std::vector<std::string>& texts)
{
    size_t at = 0;
    for (const std::string& text : texts) {
        const size_t found = err.find(text, at);
        if (found == std::string::npos) {
            return ::testing::AssertionFailure() << "missing or out of order: " << text;
        }
        at = found + text.size();
    }
    return ::testing::AssertionSuccess();
}

const std::string kPage = "NUL*64 PC0 DENSITY8 PC1 PC0 AREA ROWS PC1 ";
const std::string kPageStart = "NUL*64 PC0 DENSITY8 PC1 ";
const std::string kJobEnd = "PC0 PC1";

// A page of the given geometry, its header changed as given.
RasterPage page(unsigned width, unsigned height, const std::function<void(cups_page_header2_t&)>& change = {})
{
    RasterPage p = grayPage(width, height, 300, photoShade(width));
    if (change) {
        change(p.header);
    }
    return p;
}

constexpr uint64_t kReady = 0x800000;
constexpr uint64_t kPaperOut = 0x80000;
constexpr uint64_t kCoverOpen = 0x10000;

const std::string kReadyLines = "STATE: -media-empty-warning\nINFO: Printing\nSTATE: -cover-open-warning\n";
const std::string kPaperOutLines = "STATE: +media-empty-warning\nINFO: Paper out.\nSTATE: -cover-open-warning\n";

// Full replies carrying these status words, one per poll.
std::vector<PollAnswer> replies(std::initializer_list<uint64_t> words)
{
    std::vector<PollAnswer> answers;
    for (uint64_t word : words) {
        answers.push_back({statusReply(word)});
    }
    return answers;
}

// Jobs that print, end early or skip a page; headers, PPDs, options,
// arguments and printer streams as a hostile or careless sender makes them;
// and the status wait of the polled models against a virtual printer that
// answers the n-th status query with answers[n] (the last one repeating).
// The exit status, the pages printed, the status queries sent, the whole
// stream when given, the spooler lines in order and how often some occur.
// Every page before a failure is printed; a job that fails sends no job end
// and no final state line. Arguments, input and the paper size are checked
// before anything goes to the printer, and the shipped program ends with its
// message.
TEST(Messages, PageLoopStatusWaitAndHostileInput)
{
    TempDir dir;
    writeFile(dir.file("empty.ppd"), "");
    writeFile(dir.file("bare.ppd"), "*PPD-Adobe: \"4.3\"\n*OpenUI *PageSize: PickOne\n*DefaultPageSize: A4\n"
                                    "*PageSize A4: \"\"\n*CloseUI: *PageSize\n*PaperDimension A4: \"595 842\"\n");
    const RasterPage good = page(16, 2);
    const RasterPage oneBit = page(16, 2, [](auto& h) { h.cupsBitsPerPixel = 1; });
    RasterPage tooLarge = uniformPage(65536, 1, 203, 0);
    tooLarge.header.cupsHeight = 65536;
    tooLarge.pixels.clear();
    // libcups cannot read on after a short page: the page is not counted,
    // nothing is printed for it, the job ends normally.
    RasterPage unreadable = uniformPage(32, 10, 203, 0);
    unreadable.pixels.resize(96);
    const std::vector<RasterPage> longJob(40, grayPage(600, 400, 203, photoShade(1)));
    int broken[2];
    ASSERT_EQ(pipe2(broken, O_CLOEXEC), 0);
    close(broken[0]);
    const std::string longValue(300, 'x');
    std::string manyOptions;
    for (int i = 0; i < 10000; ++i) {
        manyOptions.append("o").append(std::to_string(i)).append("=v ");
    }
    struct Case {
        const char* what;
        Job job = {};
        std::pair<int, size_t> statusAndPages = {0, 1};
        std::vector<std::string> lines = {};
        std::optional<std::string> words = {};
        std::vector<std::pair<std::string, size_t>> counts = {};
        std::vector<PollAnswer> answers = {};  // none: no printer on the channels
        int polls = 0;                         // status queries sent, all answered when there are answers
    };
    // A printer stream that cannot be written ends a long job at once.
    const auto unwritable = [&](const char* what, const FilterRun& run) {
        return Case{.what = what,
                    .job = {.pages = longJob, .run = run},
                    .statusAndPages = {1, 0},
                    .lines = {"ERROR: Unable to send the print data to the printer: "},
                    .counts = {{"INFO: page", 1}}};
    };
    const Case cases[] = {
        {.what = "two pages",
         .job = {.pages = {good, good}},
         .statusAndPages = {0, 2},
         .lines = {"INFO: page 1\n", "\nPAGE: 1 1\nATTR: job-impressions-completed=1\n", "INFO: page 2\n",
                   "\nPAGE: 2 1\nATTR: job-impressions-completed=2\n"},
         .words = kPage + kPage + kJobEnd},
        {.what = "no pages", .statusAndPages = {0, 0}, .lines = {"STATE: -media-empty-warning\n"}, .words = kJobEnd},
        {.what = "a page without a valid header",
         .job = {.pages = {good, uniformPage(16, 0, 203, 0), good}},
         .lines = {"WARNING: Page 2 has no valid page header; it and the pages after it are not printed.\n"},
         .words = kPage + kJobEnd},
        {.what = "one bit per pixel",
         .job = {.pages = {good, oneBit}},
         .statusAndPages = {1, 1},
         .lines = {"ERROR:Unsupported bits per pixel : 1 ! Requires 8 bits per pixel!\n"},
         .words = kPage.substr(0, kPage.size() - 1)},
        {.what = "more than 4 GiB",
         .job = {.pages = {tooLarge}},
         .statusAndPages = {1, 0},
         .lines = {"ERROR:Page too large: 65536 bytes per line x 65536 lines exceeds 4 GiB\n"},
         .words = ""},
        {.what = "a page wider than its lines",
         .job = {.pages = {good, page(16, 2, [](auto& h) { h.cupsWidth = 20; })}},
         .statusAndPages = {1, 1},
         .lines = {"ERROR:Page width 20 is larger than its 16 bytes per line\n"},
         .words = kPage.substr(0, kPage.size() - 1)},
        // A page that cannot be loaded prints nothing, not the previous page.
        {.what = "a page of width 0",
         .job = {.pages = {good, page(16, 2, [](auto& h) { h.cupsWidth = 0; })}},
         .lines = {"INFO: page 2\n", "CRIT:dibimage.CreateFromArray with grey failed!\n",
                   "ERROR:printImage: pimage is NULL, unable to print the image\n"},
         .words = kPage + kPageStart + "PC0 PC1 " + kJobEnd},
        {.what = "a short page",
         .job = {.pages = {good, unreadable}},
         .lines = {"INFO: page 1\n", "DEBUG:PAGE: 1 1\n"},
         .words = kPage + kPageStart + kJobEnd},
        {.what = "a page of 2^32 - 1 bytes without its pixels",
         .job = {.pages = {good, page(1, 1,
                                      [](auto& h) {
                                          h.cupsWidth = h.cupsBytesPerLine = 65535;
                                          h.cupsHeight = 65537;
                                      })}},
         .lines = {"WARNING: The raster data of page 2 ends early; the page is not printed.\n"}},
        {.what = "resolutions 0, 1 and 65535, compression, colour fields outside their enumerations",
         .job = {.ppd = "korvk5.ppd",
                 .pages = {page(8, 2,
                                [](auto& h) {
                                    h.HWResolution[0] = h.HWResolution[1] = 0;
                                    h.cupsCompression = 1;
                                }),
                           page(8, 2, [](auto& h) { h.HWResolution[0] = h.HWResolution[1] = 1; }),
                           page(8, 2,
                                [](auto& h) {
                                    h.HWResolution[0] = 65535;
                                    h.cupsColorOrder = static_cast<cups_order_t>(0xFFFFFFFF);
                                    h.cupsColorSpace = static_cast<cups_cspace_t>(77);
                                })},
                 .options = "AntiWrinkle=1"},
         .statusAndPages = {0, 3},
         .lines = {"header.cupsColorOrder:-1\n", "header.cupsColorSpace:77\n"}},
        {.what = "a pre-feed from a resolution of 2^31 and more",
         .job = {.ppd = "korvk5.ppd", .pages = {page(8, 2, [](auto& h) { h.HWResolution[0] = 0x80000001u; })}},
         .lines = {"Fed 1014559204 lines before printing.\n"}},
        {.what = "no PPD file",
         .job = {.ppd = "", .pages = {good}, .run = {.ppd = "/nonexistent.ppd"}},
         .statusAndPages = {1, 0},
         .lines = {"WARNING: Unable to open the PPD file \"/nonexistent.ppd\""}},
        {.what = "an empty PPD",
         .job = {.ppd = dir.file("empty.ppd"), .pages = {good}},
         .statusAndPages = {1, 0},
         .lines = {"WARNING: Unable to open the PPD file", "ERROR: Paper size must not less than 1.0"}},
        {.what = "a PPD without most options",
         .job = {.ppd = dir.file("bare.ppd"), .pages = {good}},
         .lines = {"halftoneType:0\n"}},
        {.what = "unknown choices, empty, long and non-ASCII values",
         .job = {.pages = {good}, .options = "HalftoneType=Bogus PageSize= MirrorImage=\xC3\xA4 Darkness=" + longValue},
         .lines = {"settings->MirrorImage:0\n", "settings->Darkness:8\n", "settings->halftoneType:0\n"}},
        {.what = "ten thousand options", .job = {.pages = {good}, .options = manyOptions}, .lines = {"INFO: page 1\n"}},
        {.what = "captures that cannot be written",
         .job = {.pages = {good}, .run = {.captureDir = "/nonexistent"}},
         .lines = {"KorvoPrinter::saveImage: unable to open the file /nonexistent/",
                   "KorvoPrinter::saveImage: unable to open the file /nonexistent/"}},
        // A stencil printer feeds 120/254 inch before every image: 141 lines
        // at 300 dpi, 95 at 203.
        {.what = "a stencil printer's feed before each image",
         .job = {.ppd = "korvk5.ppd",
                 .pages = {uniformPage(16, 2, 300, 9), uniformPage(16, 2, 203, 9)},
                 .options = "HalftoneType=None AntiWrinkle=0"},
         .statusAndPages = {0, 2},
         .words = "NUL*64 PC0 DENSITY8 PC1 PC0 FEED0,141 AREA ROWS PC1 NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 FEED0,95 "
                  "AREA ROWS PC1 PC0 PC1"},
        // A printer stream that cannot be written ends a long job at once.
        unwritable("a full disk", {.stdoutPath = "/dev/full"}),
        unwritable("standard output closed", {.closeStdout = true}),
        unwritable("a printer pipe without a reader", {.stdoutFd = broken[1]}),
        {.what = "wrong arguments",
         .job = {.run = {.shipped = true, .args = {"1", "user", "title", "1"}}},
         .statusAndPages = {1, 0},
         .lines = {"rastertokorvoppli v1.0.0\n\nUsage:\n\n    rastertokorvoppli job_id user title copyies options "
                   "[file]\n\n"},
         .words = ""},
        {.what = "a raster file that is missing",
         .job = {.run = {.shipped = true, .args = {"1", "user", "title", "1", "", dir.file("missing.ras")}}},
         .statusAndPages = {1, 0},
         .lines = {"ERROR: Unable to open raster file - "},
         .words = ""},
        {.what = "no PPD and no pages",
         .job = {.ppd = "", .run = {.shipped = true}},
         .statusAndPages = {1, 0},
         .lines = {"ERROR: Paper size must not less than 1.0 : (0.000000, 0.000000)\n"},
         .words = ""},
        // The status queries go between the start sequence and the page, and
        // after it.
        {.what = "ready, then printed (bit 19)",
         .job = {.model = "R27", .pages = {good}},
         .lines = {"DEBUG: Enter WaitForPrinterReady\n", "DEBUG: cups_sc_status_t = 1\n",
                   "DEBUG: cupsBackChannelRead bytes 1024\n", kReadyLines,
                   "DEBUG: Exit WaitForPrinterReady: ready to print.\n", "INFO: page 1\n", kPaperOutLines},
         .words = "NUL*64 PC0 DENSITY8 PC1 QUERY PC0 AREA ROWS PC1 QUERY PC0 PC1",
         .answers = replies({kReady, kReady | kPaperOut}),
         .polls = 2},
        {.what = "paper out keeps the wait going",
         .job = {.model = "V315", .pages = {good}},
         .lines = {kPaperOutLines, "INFO: Printing\n", "INFO: page 1\n", "INFO: Paper out.\n"},
         .counts = {{"INFO: Paper out.", 3}},
         .answers = replies({kReady | kPaperOut, kPaperOut, kReady, kReady | kPaperOut}),
         .polls = 4},
        {.what = "cover open",
         .job = {.model = "K5", .pages = {good}},
         .lines = {"STATE: -media-empty-warning\nINFO: Printing\nSTATE: +cover-open-warning\n", kReadyLines},
         .answers = replies({kCoverOpen, kReady, kPaperOut}),
         .polls = 3},
        {.what = "the same status twice is reported once",
         .job = {.model = "Q6", .pages = {good}},
         .counts = {{"STATE: +cover-open-warning", 1}, {"INFO: Paper out.", 2}},
         .answers = replies({kPaperOut | kCoverOpen, kPaperOut | kCoverOpen, kReady, kPaperOut}),
         .polls = 4},
        // A complete reply ends the reading: no read waits out its timeout.
        {.what = "a 13-byte reply",
         .job = {.model = "R27", .pages = {good}, .run = {.pollLimit = 2}},
         .lines = {"DEBUG: cupsBackChannelRead bytes 13\n", "DEBUG: cupsBackChannelRead Printer Status Data 13 bytes - "
                                                            "64 FF 00 00 00 00 00 88 00 00 00 00 00 \n"},
         .counts = {{"INFO: Paper out.", 1}, {"cupsBackChannelRead bytes -1", 0}},
         .answers = {{statusReply(0x880000, 13)}, {statusReply(kReady, 13)}},
         .polls = 4},
        {.what = "a short reply leaves the rest of the word zero",
         .job = {.model = "R27", .pages = {good}},
         .lines = {"DEBUG: cupsBackChannelRead bytes 8\n", "DEBUG: Exit WaitForPrinterReady: ready to print.\n"},
         .answers = {{{0x64, 0xFF, 0, 0, 0, 0x00, 0x00, 0x80}}, {statusReply(kPaperOut)}},
         .polls = 2},
        {.what = "a reply with another head is ignored",
         .job = {.model = "R27", .pages = {good}},
         .counts = {{"INFO: Printing", 1}},
         .answers = {{{0x65, 0xFF, 0, 0, 0, 0, 0, 0x80}}, {statusReply(kReady)}, {statusReply(kPaperOut)}},
         .polls = 3},
        // Started by hand without its channels: the side channel fails at
        // once and the back channel is never read (libcups would spin on it).
        {.what = "closed channels",
         .job = {.model = "R27", .pages = {good}, .run = {.pollLimit = 2, .pollIntervalMs = 10, .closeChannels = true}},
         .counts = {{"DEBUG: cups_sc_status_t = 3", 4}, {"cupsBackChannelRead bytes", 0}},
         .polls = 4},
        {.what = "a model that is not polled",
         .job = {.model = "R27X", .pages = {good}},
         .counts = {{"WaitForPrinterReady", 0}},
         .answers = replies({kReady})},
        {.what = "the poll limit ends the wait and the job goes on",
         .job = {.model = "R27", .pages = {good}, .run = {.pollLimit = 3}},
         .lines = {"INFO: page 1\n", "STATE: -media-empty-warning\n"},
         .counts = {{"Exit WaitForPrinterReady", 0}},
         .answers = replies({kCoverOpen}),
         .polls = 6},
        // The late reply says "ready", the next one "paper out": a reply that
        // comes after its poll timed out must not answer the next poll.
        {.what = "a late reply is not taken for the next poll",
         .job = {.model = "R27", .pages = {good}, .run = {.pollLimit = 10, .pollIntervalMs = 600}},
         .lines = {"DEBUG: cups_sc_status_t = 3\n", "INFO: Paper out.\n", "INFO: Printing\n"},
         .answers =
             {{statusReply(kReady), true}, {statusReply(kPaperOut)}, {statusReply(kReady)}, {statusReply(kPaperOut)}},
         .polls = 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        PrinterChannels printer([&c](int poll) { return c.answers[std::min<size_t>(poll, c.answers.size() - 1)]; });
        Job job = c.job;
        if (!c.answers.empty()) {
            job.run.printer = &printer;
        }
        const FilterResult result = print(job);
        EXPECT_EQ(std::make_pair(result.exitStatus, result.pages().size()), c.statusAndPages);
        EXPECT_EQ(printer.polls(), c.answers.empty() ? 0 : c.polls);
        const std::string words = result.words();
        EXPECT_EQ(countOf(words, "QUERY"), size_t(c.polls));
        if (c.words) {
            EXPECT_EQ(words, *c.words);
        }
        EXPECT_TRUE(inOrder(result.err, c.lines)) << result.err;
        for (const auto& [text, count] : c.counts) {
            EXPECT_EQ(countOf(result.err, text), count) << text;
        }
        EXPECT_EQ(result.err.ends_with("\nSTATE: -media-empty-warning\n"), c.statusAndPages.first == 0);
        if (c.job.run.shipped) {
            EXPECT_TRUE(result.err.ends_with(c.lines.back())) << result.err;
        }
    }
    close(broken[1]);
}

// The filter run in this process on a raster file, its stream to out: its
// status and its messages.
std::pair<int, std::string> runInProcess(const TempDir& dir, const std::string& raster, const std::string& options,
                                         FILE* out)
{
    std::string arguments[] = {"rastertokorvoppli", "1", "user", "title", "1", options, raster};
    char* argv[7];
    for (int i = 0; i < 7; ++i) {
        argv[i] = arguments[i].data();
    }
    const FilterEnvironment environment{.statusPollLimit = 0,
                                        .captureDirectory = dir.path(),
                                        .geometryLogPath = dir.file("geometry.log"),
                                        .output = out};
    testing::internal::CaptureStderr();
    const int status = runFilter(7, argv, environment);
    return {status, testing::internal::GetCapturedStderr()};
}

// A two-page job cut at every offset: it always ends normally, prints every
// page it received whole, and says so when a page or the stream was cut.
TEST(Messages, TruncatedStreamsAtEveryOffset)
{
    TempDir dir;
    writeRaster(dir.file("whole.ras"), {grayPage(4, 2, 300, randomShade(1)), grayPage(3, 3, 203, randomShade(2))});
    const std::vector<uint8_t> whole = readFile(dir.file("whole.ras"));
    const size_t firstPageEnd = 4 + sizeof(cups_page_header2_t) + 8;
    ASSERT_EQ(whole.size(), firstPageEnd + sizeof(cups_page_header2_t) + 9);
    setenv("PPD", ppdWithModel(dir, "korvr27.ppd", "TEST").c_str(), 1);
    FILE* out = fopen("/dev/null", "w");
    for (size_t cut = 0; cut <= whole.size(); ++cut) {
        writeFile(dir.file("cut.ras"), std::string(whole.begin(), whole.begin() + long(cut)));
        const auto [status, err] = runInProcess(dir, dir.file("cut.ras"), "", out);
        const size_t pages = (cut >= firstPageEnd) + (cut == whole.size());
        const bool cleanCut = cut == 0 || cut == 4 || cut == firstPageEnd || cut == whole.size();
        ASSERT_EQ(status, 0) << cut;
        ASSERT_EQ(countOf(err, "\nPAGE: "), pages) << cut;
        ASSERT_EQ(countOf(err, "WARNING: "), cleanCut ? 0u : 1u) << cut << err;
        unlink(dir.file("geometry.log").c_str());
    }
    fclose(out);
}

// Two runs in one process write the same stream: the tear-off feed that
// ends the first job leaves no go-back feed pending for the second.
TEST(Messages, FilterRunsInProcessAsOften)
{
    TempDir dir;
    writeRaster(dir.file("job.ras"), {uniformPage(8, 2, 203, 9), uniformPage(8, 2, 203, 9)});
    setenv("PPD", builtPpd("korvr27.ppd").c_str(), 1);
    std::string streams[2];
    for (std::string& stream : streams) {
        FILE* out = fopen(dir.file("stream").c_str(), "w");
        EXPECT_EQ(runInProcess(dir, dir.file("job.ras"), "Occurrence=EveryPage PostAction=TearOff", out).first, 0);
        EXPECT_EQ(bNeedGoBack, 1);
        fclose(out);
        stream = readText(dir.file("stream"));
    }
    EXPECT_EQ(streams[0], streams[1]);
    EXPECT_FALSE(streams[0].empty());
}

// The conversions of the settings as they are logged: "middle" is not
// "Middle"; the low byte of 255 is -1 as a signed char; integers and
// booleans go through atoi, so "abc" and "off" give 0, not the default;
// halftone names are case-sensitive; the page size is in mm; the mere
// presence of AntiWrinkle makes a stencil printer.
TEST(Messages, JobSettings)
{
    const std::string conversions = KORVO_TEST_DATA_DIR "/conversions.ppd";
    const RasterPage page = uniformPage(16, 2, 203, 0);
    const std::pair<Job, std::vector<std::string>> cases[] = {
        {{.ppd = conversions, .pages = {page}},
         {"GapsHeight:0", "Origin:Rotation180", "MirrorImage:-1", "NegativeImage:0", "Darkness:0", "halftoneType:0",
          "PageSize:w288h432", "pageWidth:101.606400", "pageHeight:152.409607", "AntiWrinkle:-1", "IsTattooPrinter:0",
          "ModelName:TEST"}},
        {{.ppd = conversions,
          .pages = {page},
          .options = "Darkness=Dark MirrorImage=256 NegativeImage=7 GapsHeight=4 HalftoneType=Stucki Origin=Normal"},
         {"GapsHeight:4", "MirrorImage:0", "NegativeImage:7", "Darkness:15", "halftoneType:4"}},
        {{.ppd = conversions, .pages = {page}, .options = "MirrorImage=YES"}, {"MirrorImage:1"}},
        {{.ppd = "korvk5.ppd", .pages = {page}, .options = "Darkness=Light Brightness=-30"},
         {"Darkness:1", "halftoneType:8", "AntiWrinkle:0", "IsTattooPrinter:1", "Brightness:-30"}},
        {{.pages = {page}}, {"halftoneType:0", "PageSize:A4", "AntiWrinkle:-1", "IsTattooPrinter:0"}},
    };
    for (const auto& [job, lines] : cases) {
        std::vector<std::string> expected;
        for (const std::string& line : lines) {
            expected.push_back("DEBUG:settings->" + line + "\n");
        }
        EXPECT_TRUE(inOrder(print(job).err, expected)) << job.options;
    }
    const FilterResult tiny = print({.ppd = conversions, .pages = {page}, .options = "PageSize=Tiny"});
    EXPECT_EQ(tiny.exitStatus, 1);
    EXPECT_TRUE(inOrder(tiny.err, {"\nERROR: Paper size must not less than 1.0 : (0.705600, 0.705600)\n"}));
    EXPECT_TRUE(inOrder(print({.ppd = conversions, .pages = {page}}).err,
                        {"DEBUG:Custom Size: (288.000000,432.000000,0.000000,0.000000,288.000000,432.000000)\n"}));
}

}  // namespace
