// Blank-edge measurement: the two counts and what printImage logs from them.
// The measurement never changes what is printed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CaptureStderr.h"
#include "pipeline/BlankLines.h"
#include "printer/KorvoPrinter.h"

namespace {

constexpr size_t kWidth = 12;
constexpr size_t kHeight = 100;

// A page with ink on the given lines only, plus the spare zeroed line the
// page loop keeps after every page.
std::vector<unsigned char> pageWithInk(std::initializer_list<size_t> inkedLines, size_t height = kHeight)
{
    std::vector<unsigned char> page((height + 1) * kWidth, 0);
    for (size_t line : inkedLines) {
        page[line * kWidth + 3] = 200;
    }
    return page;
}

TEST(BlankLines, FrontCountStartsWithLineOne)
{
    // Line 10 is the first with ink: found in pass 9.
    EXPECT_EQ(korvoImageCountBlankLinesFromFront(pageWithInk({10, 50}).data(), kWidth, kHeight, 0, kWidth), 9u);
    // Ink on line 0 alone is never seen.
    EXPECT_EQ(korvoImageCountBlankLinesFromFront(pageWithInk({0}).data(), kWidth, kHeight, 0, kWidth), kHeight);
    EXPECT_EQ(korvoImageCountBlankLinesFromFront(pageWithInk({0, 1}).data(), kWidth, kHeight, 0, kWidth), 0u);
    EXPECT_EQ(korvoImageCountBlankLinesFromFront(pageWithInk({}).data(), kWidth, kHeight, 0, kWidth), kHeight);
}

TEST(BlankLines, BackCountIsTheEndOfTheLastInkedLine)
{
    EXPECT_EQ(korvoImageCountBlankLinesFromBack(pageWithInk({10, 79}).data(), kWidth, kHeight, 0, kWidth), 80u);
    EXPECT_EQ(korvoImageCountBlankLinesFromBack(pageWithInk({0}).data(), kWidth, kHeight, 0, kWidth), 1u);
    EXPECT_EQ(korvoImageCountBlankLinesFromBack(pageWithInk({}).data(), kWidth, kHeight, 0, kWidth), 0u);
}

TEST(BlankLines, SkippedRightBytesAreNotTested)
{
    std::vector<unsigned char> page = pageWithInk({});
    page[40 * kWidth + kWidth - 1] = 255;  // ink in the last byte of line 40 only
    EXPECT_EQ(korvoImageCountBlankLinesFromBack(page.data(), kWidth, kHeight, 1, kWidth), 0u);
    EXPECT_EQ(korvoImageCountBlankLinesFromBack(page.data(), kWidth, kHeight, 0, kWidth), 41u);
    // A skip longer than the line is dropped: the whole line is tested.
    EXPECT_EQ(korvoImageCountBlankLinesFromBack(page.data(), kWidth, kHeight, kWidth + 1, kWidth), 41u);
    EXPECT_EQ(korvoImageCountBlankLinesFromFront(page.data(), kWidth, kHeight, kWidth + 1, kWidth), 39u);
}

// The front count looks at the line after the page in its last pass; that
// line is taken as blank and never read.
TEST(BlankLines, FrontCountDoesNotReadPastThePage)
{
    std::vector<unsigned char> page = pageWithInk({}, 3);
    page.resize(3 * kWidth);  // no spare line
    std::vector<unsigned char> exact(page);
    EXPECT_EQ(korvoImageCountBlankLinesFromFront(exact.data(), kWidth, 3, 0, kWidth), 3u);
}

// A printer that records what the pipeline hands over for printing.
class RecordingPrinter : public KorvoPrinter {
public:
    size_t printedRows = 0;

protected:
    void doPrintImage(const unsigned char*, size_t, size_t height, size_t) override { printedRows += height; }
};

std::string printWithMask(unsigned char mask, const std::vector<unsigned char>& page, size_t* printedRows)
{
    RecordingPrinter printer;
    printer.setRemoveBlankEdges(mask);
    printer.setCaptureDirectory("/nonexistent-korvo-capture-dir");
    const std::string log = captureStderr([&] { printer.printImage(page.data(), kWidth, kHeight, kWidth); });
    *printedRows = printer.printedRows;
    return log;
}

TEST(BlankLines, BothMasksAdjustOnlyTheLog)
{
    size_t printed = 0;
    const std::string log = printWithMask(0x0A, pageWithInk({10, 79}), &printed);
    EXPECT_NE(log.find("number of bottom blank lines: 80\n"), std::string::npos) << log;
    EXPECT_NE(log.find("number of top blank lines: 9\n"), std::string::npos);
    EXPECT_NE(log.find("DEBUG:printImage: Adjusted image height to 71, pointer offset by 108 bytes\n"),
              std::string::npos);
    EXPECT_NE(log.find("number of top blank lines: 9, number of bottom blank lines: 80, adjusted height: 71\n"),
              std::string::npos);
    EXPECT_EQ(printed, kHeight);
}

TEST(BlankLines, TopMaskAloneAdjustsNothing)
{
    size_t printed = 0;
    const std::string log = printWithMask(0x02, pageWithInk({10, 79}), &printed);
    EXPECT_NE(log.find("number of top blank lines: 9\n"), std::string::npos);
    EXPECT_EQ(log.find("Adjusted image height"), std::string::npos);
    EXPECT_EQ(log.find("Removal of bottom"), std::string::npos);
    EXPECT_EQ(printed, kHeight);
}

TEST(BlankLines, BottomMaskAloneCutsTheHeightInTheLog)
{
    size_t printed = 0;
    const std::string log = printWithMask(0x08, pageWithInk({10, 79}), &printed);
    EXPECT_NE(log.find("Adjusted image height to 80, pointer offset by 0 bytes"), std::string::npos);
    EXPECT_EQ(printed, kHeight);
}

TEST(BlankLines, BlankPageAndOtherMaskBits)
{
    size_t printed = 0;
    std::string log = printWithMask(0x0A, pageWithInk({}), &printed);
    EXPECT_NE(log.find("number of top blank lines: 100, number of bottom blank lines: 0, adjusted height: 100"),
              std::string::npos);
    EXPECT_EQ(log.find("Adjusted image height"), std::string::npos);
    log = printWithMask(0x01, pageWithInk({10}), &printed);
    EXPECT_EQ(log.find("Removal of"), std::string::npos);
    EXPECT_EQ(log.find("Adjusted image height"), std::string::npos);
}

}  // namespace
