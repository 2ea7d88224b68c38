// SPDX-License-Identifier: Apache-2.0
// The printer's setters clamp what the job options hand them.
#include <gtest/gtest.h>

#include "OndrelPrinter.h"

TEST(Printer, SettersClampTheirValues)
{
    OndrelPrinter printer;
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
    // The speed is text, read with atoi.
    const std::pair<const char*, int> speeds[] = {{"0", 1}, {"abc", 1}, {"16", 15}, {"7", 7}};
    for (const auto& [text, speed] : speeds) {
        printer.setPrintSpeed(text);
        EXPECT_EQ(printer.getPrintSpeed(), speed) << text;
    }
}
