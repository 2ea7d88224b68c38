// SPDX-License-Identifier: Apache-2.0
// Setter clamping, output streams, feeds out of range, packing and transfer
// the filter never asks for, and the filter's whole job run in-process.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include "Filter.h"
#include "FilterProcess.h"
#include "OndrelPrinter.h"
#include "RasterFile.h"

using Bytes = std::vector<uint8_t>;

namespace {

// A FILE* writing into memory.
struct MemStream {
    char* buf = nullptr;
    size_t len = 0;
    FILE* file = open_memstream(&buf, &len);

    ~MemStream()
    {
        fclose(file);
        free(buf);
    }

    Bytes bytes()
    {
        fflush(file);
        return Bytes(buf, buf + len);
    }
};

}  // namespace

// Setters, output streams, feeds out of range, packing with skipped pixels
// and an image of no rows: what the filter never asks for.
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

    MemStream first;
    MemStream second;
    printer.getOutputStreams().assign({first.file, second.file});
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
    const Bytes bytes = first.bytes();
    EXPECT_EQ(second.bytes(), bytes);
    ASSERT_EQ(bytes.size(), 4 + 4 * 13u);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 4), (Bytes{0x64, 0x00, 0x9B, 0xFE}));
    // A feed packet carries the mode, then the lines low byte first, from its byte 5.
    EXPECT_EQ(Bytes(bytes.begin() + 9, bytes.begin() + 12), (Bytes{0x05, 0x45, 0x23}));
    EXPECT_EQ(Bytes(bytes.begin() + 22, bytes.begin() + 25), (Bytes{0xFF, 0x02, 0x00}));

    MemStream out;
    printer.setSkipRightPixels(4);  // 20 pixels a row, 16 kept: 2 bytes a row
    Bytes data(2 * 20, 0);
    for (int x = 16; x < 20; ++x) {
        data[x] = 0xFF;  // dropped
        data[20 + x] = 0xFF;
    }
    data[0] = 1;
    data[15] = 1;
    data[20 + 9] = 1;
    EXPECT_EQ(printer.GrayToMono(20, 2, data.data()), 4);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 4), (Bytes{0x80, 0x01, 0x00, 0x40}));

    printer.setSkipRightPixels(20);  // the whole row or more: ignored
    Bytes row(20, 0);
    row[0] = 1;
    row[19] = 1;
    EXPECT_EQ(printer.GrayToMono(20, 1, row.data()), 3);
    EXPECT_EQ(Bytes(row.begin(), row.begin() + 3), (Bytes{0x80, 0x00, 0x10}));

    printer.getOutputStreams().assign({out.file});
    printer.SendImage(8, _SIZEL{64, 0}, row.data());
    EXPECT_TRUE(out.bytes().empty());
}

// Two runs in one process write the same stream: the tear-off feed that
// ends the first job leaves no go-back feed pending for the second.
TEST(Printer, FilterRunsInProcessAsOften)
{
    korvotest::TempDir dir;
    const std::string raster = dir.file("job.ras");
    korvotest::writeRaster(raster, {korvotest::uniformPage(8, 2, 203, 9), korvotest::uniformPage(8, 2, 203, 9)});
    setenv("PPD", korvotest::builtPpd("korvr27.ppd").c_str(), 1);
    std::string arguments[] = {
        "rastertokorvoppli", "1", "user", "title", "1", "Occurrence=EveryPage PostAction=TearOff", raster};
    char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), arguments[3].data(),
                    arguments[4].data(), arguments[5].data(), arguments[6].data()};
    Bytes streams[2];
    for (Bytes& stream : streams) {
        MemStream out;
        FilterEnvironment environment;
        environment.output = out.file;
        environment.captureDirectory = dir.path();
        environment.geometryLogPath = dir.file("geometry.log");
        environment.statusPollLimit = 0;
        EXPECT_EQ(runFilter(7, argv, environment), 0);
        stream = out.bytes();
        EXPECT_EQ(bNeedGoBack, 1);
    }
    EXPECT_EQ(streams[0], streams[1]);
}
