// SPDX-License-Identifier: Apache-2.0
// What the filter tells the spooler on standard error: usage and failures,
// the page loop, the job settings, the page header and pipeline logs, and
// the printer's status from the back channel.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <optional>

#include "CaptureStderr.h"
#include "Filter.h"
#include "Job.h"
#include "OndrelPrinter.h"
#include "PrinterChannels.h"

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

std::string floatText(double value)
{
    char text[64];
    snprintf(text, sizeof(text), "%f", static_cast<double>(static_cast<float>(value)));
    return text;
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

// Jobs that print, end early or skip a page, and headers, PPDs, options and
// arguments as a hostile or careless sender makes them: the exit status,
// the pages printed, the whole stream when given, and the spooler lines in
// order. Every page before a failure is printed; a job that fails sends no
// job end and no final state line. Arguments, input and the paper size are
// checked before anything goes to the printer, and the shipped program ends
// with its message.
TEST(Messages, PageLoopFailuresAndHostileInput)
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
    PrinterChannels printer([](int poll) { return PollAnswer{statusReply(poll == 0 ? 0x800000 : 0x80000)}; });
    const std::string longValue(300, 'x');
    std::string manyOptions;
    for (int i = 0; i < 10000; ++i) {
        manyOptions.append("o").append(std::to_string(i)).append("=v ");
    }
    struct Case {
        const char* what;
        Job job;
        std::pair<int, size_t> statusAndPages;
        std::vector<std::string> lines;
        std::optional<std::string> words = {};
    };
    const Case cases[] = {
        {"two pages",
         {.pages = {good, good}},
         {0, 2},
         {"DEBUG: Enter jobSetup\n", "DEBUG: Exit jobSetup\n", "INFO: page 1\n",
          "\nPAGE: 1 1\nATTR: job-impressions-completed=1\n", "INFO: page 2\n",
          "\nPAGE: 2 1\nATTR: job-impressions-completed=2\n", "DEBUG: Enter jobEnd\n", "DEBUG: Exit jobEnd\n",
          "STATE: -media-empty-warning\n"},
         kPage + kPage + kJobEnd},
        {"no pages", {}, {0, 0}, {"STATE: -media-empty-warning\n"}, kJobEnd},
        {"a page without a valid header",
         {.pages = {good, uniformPage(16, 0, 203, 0), good}},
         {0, 1},
         {"WARNING: Page 2 has no valid page header; it and the pages after it are not printed.\n"},
         kPage + kJobEnd},
        {"one bit per pixel",
         {.pages = {good, oneBit}},
         {1, 1},
         {"ERROR:Unsupported bits per pixel : 1 ! Requires 8 bits per pixel!\n"},
         kPage.substr(0, kPage.size() - 1)},
        {"more than 4 GiB",
         {.pages = {tooLarge}},
         {1, 0},
         {"ERROR:Page too large: 65536 bytes per line x 65536 lines exceeds 4 GiB\n"},
         ""},
        {"a page wider than its lines",
         {.pages = {good, page(16, 2, [](auto& h) { h.cupsWidth = 20; })}},
         {1, 1},
         {"ERROR:Page width 20 is larger than its 16 bytes per line\n"},
         kPage.substr(0, kPage.size() - 1)},
        // A page that cannot be loaded prints nothing, not the previous page.
        {"a page of width 0",
         {.pages = {good, page(16, 2, [](auto& h) { h.cupsWidth = 0; })}},
         {0, 1},
         {"INFO: page 2\n", "CRIT:dibimage.CreateFromArray with grey failed!\n",
          "ERROR:printImage: pimage is NULL, unable to print the image\n"},
         kPage + kPageStart + "PC0 PC1 " + kJobEnd},
        {"a short page",
         {.pages = {good, unreadable}},
         {0, 1},
         {"INFO: page 1\n", "DEBUG:PAGE: 1 1\n"},
         kPage + kPageStart + kJobEnd},
        {"a page of 2^32 - 1 bytes without its pixels",
         {.pages = {good, page(1, 1,
                               [](auto& h) {
                                   h.cupsWidth = h.cupsBytesPerLine = 65535;
                                   h.cupsHeight = 65537;
                               })}},
         {0, 1},
         {"WARNING: The raster data of page 2 ends early; the page is not printed.\n"}},
        {"24 bits per pixel",
         {.pages = {page(12, 4,
                         [](auto& h) {
                             h.cupsWidth = 4;
                             h.cupsBitsPerPixel = 24;
                         })}},
         {1, 0},
         {"ERROR:Unsupported bits per pixel : 24"}},
        {"resolutions 0, 1 and 65535, compression, colour fields outside their enumerations",
         {.ppd = "korvk5.ppd",
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
         {0, 3},
         {"header.cupsColorOrder:-1\n", "header.cupsColorSpace:77\n"}},
        {"a pre-feed from a resolution of 2^31 and more",
         {.ppd = "korvk5.ppd", .pages = {page(8, 2, [](auto& h) { h.HWResolution[0] = 0x80000001u; })}},
         {0, 1},
         {"Fed 1014559204 lines before printing.\n"}},
        {"no PPD file",
         {.ppd = "", .pages = {good}, .run = {.ppd = "/nonexistent.ppd"}},
         {1, 0},
         {"WARNING: Unable to open the PPD file \"/nonexistent.ppd\""}},
        {"an empty PPD",
         {.ppd = dir.file("empty.ppd"), .pages = {good}},
         {1, 0},
         {"WARNING: Unable to open the PPD file", "ERROR: Paper size must not less than 1.0"}},
        {"a PPD without most options", {.ppd = dir.file("bare.ppd"), .pages = {good}}, {0, 1}, {"halftoneType:0\n"}},
        {"unknown choices, empty, long and non-ASCII values",
         {.pages = {good}, .options = "HalftoneType=Bogus PageSize= MirrorImage=\xC3\xA4 Darkness=" + longValue},
         {0, 1},
         {"settings->MirrorImage:0\n", "settings->Darkness:8\n", "settings->halftoneType:0\n"}},
        {"ten thousand options", {.pages = {good}, .options = manyOptions}, {0, 1}, {"INFO: page 1\n"}},
        // The header of every page; the two formats ending in a newline
        // leave an empty line. (The geometry log: tests/process/test_files.cpp.)
        {"the page header",
         {.pages = {uniformPage(24, 5, 300, 0)}},
         {0, 1},
         {"DEBUG:pageWidth: 2.032000,pageHeight: 0.423333\n",
          "DEBUG:PAGE: 0 1\n\nDEBUG:header.HWResolution[0]:300\n\nDEBUG:header.HWResolution[1]:300\n"
          "DEBUG:header.cupsWidth:24\nDEBUG:header.cupsHeight:5\n"}},
        {"captures that cannot be written",
         {.pages = {good}, .run = {.captureDir = "/nonexistent"}},
         {0, 1},
         {"KorvoPrinter::saveImage: unable to open the file /nonexistent/",
          "KorvoPrinter::saveImage: unable to open the file /nonexistent/"}},
        // A stencil printer feeds 120/254 inch before every image: 141 lines
        // at 300 dpi, 95 at 203.
        {"a stencil printer's feed before each image",
         {.ppd = "korvk5.ppd",
          .pages = {uniformPage(16, 2, 300, 9), uniformPage(16, 2, 203, 9)},
          .options = "HalftoneType=None AntiWrinkle=0"},
         {0, 2},
         {},
         "NUL*64 PC0 DENSITY8 PC1 PC0 FEED0,141 AREA ROWS PC1 NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 FEED0,95 AREA ROWS "
         "PC1 PC0 PC1"},
        // The status queries go between the start sequence and the page, and
        // after it.
        {"status queries around the page",
         {.model = "R27", .pages = {good}, .run = {.printer = &printer}},
         {0, 1},
         {},
         "NUL*64 PC0 DENSITY8 PC1 QUERY PC0 AREA ROWS PC1 QUERY PC0 PC1"},
        {"wrong arguments",
         {.run = {.shipped = true, .args = {"1", "user", "title", "1"}}},
         {1, 0},
         {"rastertokorvoppli v1.0.0\n\nUsage:\n\n    rastertokorvoppli job_id user title copyies options [file]\n\n"},
         ""},
        {"a raster file that is missing",
         {.run = {.shipped = true, .args = {"1", "user", "title", "1", "", dir.file("missing.ras")}}},
         {1, 0},
         {"ERROR: Unable to open raster file - "},
         ""},
        {"no PPD and no pages",
         {.ppd = "", .run = {.shipped = true}},
         {1, 0},
         {"ERROR: Paper size must not less than 1.0 : (0.000000, 0.000000)\n"},
         ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const FilterResult result = print(c.job);
        EXPECT_EQ(std::make_pair(result.exitStatus, result.pages().size()), c.statusAndPages);
        if (c.words) {
            EXPECT_EQ(result.words(), *c.words);
        }
        EXPECT_TRUE(inOrder(result.err, c.lines)) << result.err;
        EXPECT_EQ(result.errHasLine("STATE: -media-empty-warning"), c.statusAndPages.first == 0);
        if (c.job.run.shipped) {
            EXPECT_TRUE(result.err.ends_with(c.lines.back())) << result.err;
        }
    }
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
    FilterEnvironment environment;
    environment.output = out;
    environment.captureDirectory = dir.path();
    environment.geometryLogPath = dir.file("geometry.log");
    environment.statusPollLimit = 0;
    int status = -1;
    const std::string messages = captureStderr([&] { status = runFilter(7, argv, environment); });
    return {status, messages};
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
        FILE* out = tmpfile();
        EXPECT_EQ(runInProcess(dir, dir.file("job.ras"), "Occurrence=EveryPage PostAction=TearOff", out).first, 0);
        EXPECT_EQ(bNeedGoBack, 1);
        stream.resize(size_t(ftell(out)));
        rewind(out);
        EXPECT_EQ(fread(stream.data(), 1, stream.size(), out), stream.size());
        fclose(out);
    }
    EXPECT_EQ(streams[0], streams[1]);
    EXPECT_FALSE(streams[0].empty());
}

// A printer stream that cannot be written ends the job at once.
TEST(Messages, OutputThatCannotBeWritten)
{
    int broken[2];
    ASSERT_EQ(pipe2(broken, O_CLOEXEC), 0);
    close(broken[0]);
    const std::vector<RasterPage> pages(40, grayPage(600, 400, 203, photoShade(1)));
    const FilterRun runs[] = {{.stdoutPath = "/dev/full"}, {.closeStdout = true}, {.stdoutFd = broken[1]}};
    for (const FilterRun& run : runs) {
        const FilterResult result = print({.pages = pages, .run = run});
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_TRUE(inOrder(result.err, {"ERROR: Unable to send the print data to the printer: "})) << result.err;
        EXPECT_LE(result.errCount("INFO: page"), 1u);
    }
    close(broken[1]);
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
          "PageSize:w288h432", "pageWidth:101.606400", "pageHeight:" + floatText(432 * 0.3528), "AntiWrinkle:-1",
          "IsTattooPrinter:0", "ModelName:TEST"}},
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
    EXPECT_TRUE(tiny.errHasLine("ERROR: Paper size must not less than 1.0 : (" + floatText(2 * 0.3528) + ", " +
                                floatText(2 * 0.3528) + ")"));
    EXPECT_TRUE(inOrder(print({.ppd = conversions, .pages = {page}}).err,
                        {"DEBUG:Custom Size: (288.000000,432.000000,0.000000,0.000000,288.000000,432.000000)\n"}));
}

// The pipeline's log of one page, in order, with the values of the
// processed-image line after "width:" and "bytes per line:" the other way
// round.
TEST(Messages, PipelineLog)
{
    RasterPage padded = grayPage(13, 3, 203, randomShade(4));
    padded.header.cupsBytesPerLine = 16;
    padded.pixels.resize(16 * 3, 0);
    EXPECT_TRUE(inOrder(print({.pages = {padded}, .options = "NegativeImage=True"}).err,
                        {
                            "DEBUG:printImage: Start processing image, input width: 13, height: 3, bytes per line: 16",
                            "DEBUG:printImage: Memory allocated successfully, size: 48 bytes",
                            "DEBUG:printImage: Saving original image, file path will be generated based on time",
                            "DEBUG:printImage: Memory for processing result allocated successfully, size: 48 bytes",
                            "DEBUG:PageProcess: HALV dithering is disabled",
                            "DEBUG:PageProcess: Successfully created DibImage from array with stride 16",
                            "DEBUG:PageProcess: Applied default dithering and increased bit depth",
                            "DEBUG:PageProcess: negativePrint_ 1",
                            "DEBUG:PageProcess: Inverting the image for negative print",
                            "DEBUG:PageProcess: Filled the output buffer with processed pixels, length: 48",
                            ", width: 16, height: 3, bytes per line: 13, number of top blank lines: 0",
                            "DEBUG:printImage: Saving processed image, file path will be generated based on time",
                            "DEBUG:printImage: Starting to print the processed image",
                            "DEBUG:doPrintImage: Input image size - width: 13, height: 3",
                            "DEBUG:GrayToMono, bpl(16), h(3), skipPixels(0), wb(16)",
                            "DEBUG:doPrintImage: Converted image size in bytes: 6",
                            "DEBUG:SendImage sizel(13, 3), wBytes(2), blocks(0)",
                            "DEBUG:doPrintImage: Image sent to the printer.",
                            "DEBUG:printImage: Freed the allocated memory, address: (nil)",
                            "DEBUG:printImage: Image processing completed",
                        }));
}

constexpr uint64_t kReady = 0x800000;
constexpr uint64_t kPaperOut = 0x80000;
constexpr uint64_t kCoverOpen = 0x10000;

const std::string kReadyLines = "STATE: -media-empty-warning\nINFO: Printing\nSTATE: -cover-open-warning\n";
const std::string kPaperOutLines = "STATE: +media-empty-warning\nINFO: Paper out.\nSTATE: -cover-open-warning\n";

// One page on a polled model against a virtual printer that answers the
// n-th status query with answers[n] (the last one repeating).
struct StatusCase {
    const char* what;
    std::string model = "R27";
    std::vector<PollAnswer> answers;
    int polls;                         // status queries answered
    std::vector<std::string> inOrder;  // spooler text, in this order
    std::vector<std::pair<std::string, size_t>> counts;
    int pollLimit = 300;
    int intervalMs = 20;
};

// Full replies carrying these status words, one per poll.
std::vector<PollAnswer> replies(std::initializer_list<uint64_t> words)
{
    std::vector<PollAnswer> answers;
    for (uint64_t word : words) {
        answers.push_back({statusReply(word)});
    }
    return answers;
}

const StatusCase kStatusCases[] = {
    {.what = "ready, then printed (bit 19)",
     .answers = replies({kReady, kReady | kPaperOut}),
     .polls = 2,
     .inOrder = {"DEBUG: Enter WaitForPrinterReady\n", "DEBUG: cups_sc_status_t = 1\n",
                 "DEBUG: cupsBackChannelRead bytes 1024\n", kReadyLines,
                 "DEBUG: Exit WaitForPrinterReady: ready to print.\n", "INFO: page 1\n", kPaperOutLines}},
    {.what = "paper out keeps the wait going",
     .model = "V315",
     .answers = replies({kReady | kPaperOut, kPaperOut, kReady, kReady | kPaperOut}),
     .polls = 4,
     .inOrder = {kPaperOutLines, "INFO: Printing\n", "INFO: page 1\n", "INFO: Paper out.\n"},
     .counts = {{"INFO: Paper out.", 3}}},
    {.what = "cover open",
     .model = "K5",
     .answers = replies({kCoverOpen, kReady, kPaperOut}),
     .polls = 3,
     .inOrder = {"STATE: -media-empty-warning\nINFO: Printing\nSTATE: +cover-open-warning\n", kReadyLines}},
    {.what = "the same status twice is reported once",
     .model = "Q6",
     .answers = replies({kPaperOut | kCoverOpen, kPaperOut | kCoverOpen, kReady, kPaperOut}),
     .polls = 4,
     .counts = {{"STATE: +cover-open-warning", 1}, {"INFO: Paper out.", 2}}},
    // A complete reply ends the reading: no read waits out its timeout.
    {.what = "a 13-byte reply",
     .answers = {{statusReply(0x880000, 13)}, {statusReply(kReady, 13)}},
     .polls = 4,
     .inOrder = {"DEBUG: cupsBackChannelRead bytes 13\n", "DEBUG: cupsBackChannelRead Printer Status Data 13 bytes - "
                                                          "64 FF 00 00 00 00 00 88 00 00 00 00 00 \n"},
     .counts = {{"INFO: Paper out.", 1}, {"cupsBackChannelRead bytes -1", 0}},
     .pollLimit = 2},
    {.what = "a short reply leaves the rest of the word zero",
     .answers = {{{0x64, 0xFF, 0, 0, 0, 0x00, 0x00, 0x80}}, {statusReply(kPaperOut)}},
     .polls = 2,
     .inOrder = {"DEBUG: cupsBackChannelRead bytes 8\n", "DEBUG: Exit WaitForPrinterReady: ready to print.\n"}},
    {.what = "a reply with another head is ignored",
     .answers = {{{0x65, 0xFF, 0, 0, 0, 0, 0, 0x80}}, {statusReply(kReady)}, {statusReply(kPaperOut)}},
     .polls = 3,
     .counts = {{"INFO: Printing", 1}}},
    {.what = "a model that is not polled",
     .model = "R27X",
     .answers = replies({kReady}),
     .polls = 0,
     .counts = {{"WaitForPrinterReady", 0}}},
    {.what = "the poll limit ends the wait and the job goes on",
     .answers = replies({kCoverOpen}),
     .polls = 6,
     .inOrder = {"INFO: page 1\n", "STATE: -media-empty-warning\n"},
     .counts = {{"Exit WaitForPrinterReady", 0}},
     .pollLimit = 3},
    // The late reply says "ready", the next one "paper out": a reply that
    // comes after its poll timed out must not answer the next poll.
    {.what = "a late reply is not taken for the next poll",
     .answers =
         {{statusReply(kReady), true}, {statusReply(kPaperOut)}, {statusReply(kReady)}, {statusReply(kPaperOut)}},
     .polls = 4,
     .inOrder = {"DEBUG: cups_sc_status_t = 3\n", "INFO: Paper out.\n", "INFO: Printing\n"},
     .pollLimit = 10,
     .intervalMs = 600},
};

TEST(Messages, PrinterStatus)
{
    for (const StatusCase& c : kStatusCases) {
        PrinterChannels printer([&c](int poll) { return c.answers[std::min<size_t>(poll, c.answers.size() - 1)]; });
        const FilterResult result =
            print({.model = c.model,
                   .pages = {uniformPage(16, 2, 203, 0)},
                   .run = {.pollLimit = c.pollLimit, .pollIntervalMs = c.intervalMs, .printer = &printer}});
        EXPECT_EQ(result.exitStatus, 0) << c.what;
        EXPECT_EQ(printer.polls(), c.polls) << c.what;
        EXPECT_EQ(countOf(result.controlWords(), "QUERY"), size_t(c.polls)) << c.what;
        EXPECT_TRUE(inOrder(result.err, c.inOrder)) << c.what;
        for (const auto& [text, count] : c.counts) {
            EXPECT_EQ(result.errCount(text), count) << c.what << ": " << text;
        }
    }
}

// Started by hand without its channels: the side channel fails at once and
// the back channel is never read (libcups would spin on it).
TEST(Messages, ClosedChannelsAreNeverRead)
{
    const auto start = std::chrono::steady_clock::now();
    const FilterResult result = print({.model = "R27",
                                       .pages = {uniformPage(16, 2, 203, 0)},
                                       .run = {.pollLimit = 2, .pollIntervalMs = 10, .closeChannels = true}});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errCount("DEBUG: cups_sc_status_t = 3"), 4u);
    EXPECT_EQ(result.errCount("cupsBackChannelRead bytes"), 0u);
}

}  // namespace
