// SPDX-License-Identifier: Apache-2.0
// Setter clamping, output streams and feeds out of range; the blank-line
// counts that printImage can log.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include "OndrelPrinter.h"
#include "pipeline/BlankLines.h"

using Bytes = std::vector<uint8_t>;

// Setters, several output streams and feeds out of range.
TEST(Printer, InterfaceOutsideTheFilter)
{
    OndrelPrinter printer;
    EXPECT_EQ(printer.getPrintSpeed(), 7);
    EXPECT_EQ(printer.getPrintDensity(), 8);
    EXPECT_EQ(printer.getBrightness(), 0);
    EXPECT_EQ(printer.getContrast(), 0);
    const std::pair<int, int> clamps[] = {{-101, -100}, {-100, -100}, {100, 100}, {101, 100}};
    for (const auto& [in, stored] : clamps) {
        printer.setBrightness(in);
        printer.setContrast(in);
        EXPECT_EQ(printer.getBrightness(), stored) << in;
        EXPECT_EQ(printer.getContrast(), stored) << in;
    }
    printer.setPrintDensity(-1);
    EXPECT_EQ(printer.getPrintDensity(), 0);
    printer.setPrintDensity(16);
    EXPECT_EQ(printer.getPrintDensity(), 15);
    const std::pair<const char*, int> speeds[] = {{"0", 1}, {"abc", 1}, {"16", 15}, {"7", 7}};
    for (const auto& [text, speed] : speeds) {
        printer.setPrintSpeed(text);
        EXPECT_EQ(printer.getPrintSpeed(), speed) << text;
    }

    char* buffers[2] = {};
    size_t sizes[2] = {};
    FILE* first = open_memstream(&buffers[0], &sizes[0]);
    FILE* second = open_memstream(&buffers[1], &sizes[1]);
    printer.getOutputStreams().assign({first, second});
    const unsigned char block[] = {0x64, 0x00, 0x9B};
    printer.printBytes(block, sizeof(block));
    printer.printByte(0xFE);
    printer.FeedPaper(5, 0x12345);
    printer.FeedPaper(0x1FF, 2);
    printer.FeedPaper(4, 0);
    EXPECT_EQ(bNeedGoBack, 0);
    printer.FeedPaper(3, 0);
    EXPECT_EQ(bNeedGoBack, 1);
    bNeedGoBack = 0;
    fclose(first);
    fclose(second);
    const Bytes bytes(buffers[0], buffers[0] + sizes[0]);
    EXPECT_EQ(Bytes(buffers[1], buffers[1] + sizes[1]), bytes);
    free(buffers[0]);
    free(buffers[1]);
    ASSERT_EQ(bytes.size(), 4 + 4 * 13u);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 4), (Bytes{0x64, 0x00, 0x9B, 0xFE}));
    // A feed packet carries the mode, then the lines low byte first, from its byte 5.
    EXPECT_EQ(Bytes(bytes.begin() + 9, bytes.begin() + 12), (Bytes{0x05, 0x45, 0x23}));
    EXPECT_EQ(Bytes(bytes.begin() + 22, bytes.begin() + 25), (Bytes{0xFF, 0x02, 0x00}));
}

TEST(BlankLines, CountsFromFrontAndBack)
{
    constexpr size_t kWidth = 12, kHeight = 100;
    // Ink on the given lines, plus the spare zeroed line the page loop keeps.
    auto page = [](std::initializer_list<size_t> inked) {
        Bytes rows((kHeight + 1) * kWidth, 0);
        for (size_t line : inked) {
            rows[line * kWidth + 3] = 200;
        }
        return rows;
    };
    auto front = [](const Bytes& p, size_t skip = 0) {
        return korvoImageCountBlankLinesFromFront(p.data(), kWidth, kHeight, skip, kWidth);
    };
    auto back = [](const Bytes& p, size_t skip = 0) {
        return korvoImageCountBlankLinesFromBack(p.data(), kWidth, kHeight, skip, kWidth);
    };
    EXPECT_EQ(front(page({10, 50})), 9u);  // the first test is of line 1
    EXPECT_EQ(front(page({0})), kHeight);
    EXPECT_EQ(back(page({10, 79})), 80u);
    EXPECT_EQ(back(page({0})), 1u);
    EXPECT_EQ(back(page({})), 0u);

    Bytes edge = page({});
    edge[40 * kWidth + kWidth - 1] = 255;  // ink in the last byte of line 40 only
    EXPECT_EQ(back(edge, 1), 0u);
    EXPECT_EQ(back(edge, kWidth + 1), 41u);  // a skip longer than the line is dropped
    EXPECT_EQ(front(edge, kWidth + 1), 39u);
}
