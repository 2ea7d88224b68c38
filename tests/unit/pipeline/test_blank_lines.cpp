// SPDX-License-Identifier: Apache-2.0
// Blank-edge measurement: the two counts and what printImage logs from them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CaptureStderr.h"
#include "pipeline/BlankLines.h"
#include "printer/KorvoPrinter.h"

namespace {

constexpr size_t kWidth = 12, kHeight = 100;

// Ink on the given lines, plus the spare zeroed line the page loop keeps.
std::vector<unsigned char> page(std::initializer_list<size_t> inked)
{
    std::vector<unsigned char> rows((kHeight + 1) * kWidth, 0);
    for (size_t line : inked) {
        rows[line * kWidth + 3] = 200;
    }
    return rows;
}

struct RecordingPrinter : KorvoPrinter {
    size_t printedRows = 0;
    void doPrintImage(const unsigned char*, size_t, size_t height, size_t) override { printedRows += height; }
};

}  // namespace

TEST(BlankLines, CountsFromFrontAndBack)
{
    auto front = [](const std::vector<unsigned char>& p, size_t skip = 0) {
        return korvoImageCountBlankLinesFromFront(p.data(), kWidth, kHeight, skip, kWidth);
    };
    auto back = [](const std::vector<unsigned char>& p, size_t skip = 0) {
        return korvoImageCountBlankLinesFromBack(p.data(), kWidth, kHeight, skip, kWidth);
    };
    EXPECT_EQ(front(page({10, 50})), 9u);  // the first test is of line 1
    EXPECT_EQ(front(page({0})), kHeight);
    EXPECT_EQ(back(page({10, 79})), 80u);
    EXPECT_EQ(back(page({0})), 1u);
    EXPECT_EQ(back(page({})), 0u);

    std::vector<unsigned char> edge = page({});
    edge[40 * kWidth + kWidth - 1] = 255;  // ink in the last byte of line 40 only
    EXPECT_EQ(back(edge, 1), 0u);
    EXPECT_EQ(back(edge, kWidth + 1), 41u);  // a skip longer than the line is dropped
    EXPECT_EQ(front(edge, kWidth + 1), 39u);
}

TEST(BlankLines, TopAndBottomMaskAdjustsOnlyTheLog)
{
    RecordingPrinter printer;
    printer.setRemoveBlankEdges(0x0A);
    printer.setCaptureDirectory("/nonexistent-korvo-capture-dir");
    const std::string log = captureStderr([&] { printer.printImage(page({10, 79}).data(), kWidth, kHeight, kWidth); });
    EXPECT_NE(log.find("Adjusted image height to 71, pointer offset by 108 bytes\n"), std::string::npos) << log;
    EXPECT_NE(log.find("top blank lines: 9, number of bottom blank lines: 80, adjusted height: 71\n"),
              std::string::npos);
    EXPECT_EQ(printer.printedRows, kHeight);  // all rows still printed
}
