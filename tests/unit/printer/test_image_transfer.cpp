// The print-area packet and the image rows, four to a packet.
#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "OndrelPrinter.h"
#include "PrinterCapture.h"

using printertest::CapturedPrinter;
using printertest::decodePackets;
using printertest::le16;
using printertest::Packet;
using Bytes = std::vector<uint8_t>;

namespace {

struct Area {
    unsigned offset;
    unsigned width;
};

// Sends one print area and reads it back.
Area printArea(int resolution, int64_t cx, long rowBytes)
{
    CapturedPrinter cap;
    cap.printer.resolution = resolution;
    cap.printer.SetPrintArea(_SIZEL{cx, 1}, rowBytes);
    const auto packets = decodePackets(cap.bytes());
    if (packets.size() != 1 || packets[0].payload.size() != 4) {
        ADD_FAILURE() << "expected one 4-byte packet";
        return {~0u, ~0u};
    }
    EXPECT_EQ(packets[0].command, 0x43);
    return {le16(packets[0].payload, 0), le16(packets[0].payload, 2)};
}

Bytes sequence(size_t n, uint8_t start)
{
    Bytes b(n);
    std::iota(b.begin(), b.end(), start);
    return b;
}

}  // namespace

TEST(PrintArea, PacketBytesAtThreeHundredDpi)
{
    CapturedPrinter cap;
    cap.printer.SetPrintArea(_SIZEL{2000, 50}, 250);
    // offset 296 = 0x0128, width 2000 = 0x07D0; sub-command and reserved 0.
    EXPECT_EQ(cap.bytes(), (Bytes{0x64, 0x43, 0x00, 0x04, 0x00, 0x28, 0x01, 0xD0, 0x07, 0x00, 0x00, 0x00, 0x00, 0x9B}));
}

TEST(PrintArea, NarrowImagesAreCentredOnAByteBoundary)
{
    const struct {
        int dpi;
        int64_t cx;
        long rowBytes;
        unsigned offset, width;
    } cases[] = {
        // (2592 - 2000) / 2 = 296, already a multiple of 8.
        {300, 2000, 250, 296, 2000},
        // (2592 - 2001) / 2 = 295, down to 288; the width is whole bytes.
        {300, 2001, 251, 288, 2008},
        // (2592 - 20) / 2 = 1286, down to 1280.
        {300, 20, 3, 1280, 24},
        // (2592 - 1) / 2 = 1295, down to 1288.
        {300, 1, 1, 1288, 8},
        // (2592 - 2591) / 2 = 0.
        {300, 2591, 324, 0, 2592},
        // At 203 dpi the printable width is 1728: (1728 - 1000) / 2 = 364, down to 360.
        {203, 1000, 125, 360, 1000},
        {203, 1001, 126, 360, 1008},
        // (1728 - 1727) / 2 = 0; the width still comes from the row length.
        {203, 1727, 200, 0, 1600},
        // Any resolution but 203 keeps the 2592-dot width.
        {204, 2000, 250, 296, 2000},
        {204, 1728, 216, 432, 1728},
        {202, 1000, 125, 792, 1000},
        {600, 2000, 250, 296, 2000},
    };
    for (const auto& c : cases) {
        const Area area = printArea(c.dpi, c.cx, c.rowBytes);
        EXPECT_EQ(area.offset, c.offset) << c.dpi << " dpi, cx " << c.cx;
        EXPECT_EQ(area.width, c.width) << c.dpi << " dpi, cx " << c.cx;
    }
}

TEST(PrintArea, ImagesAtOrOverThePrintableWidthFillIt)
{
    const struct {
        int dpi;
        int64_t cx;
        long rowBytes;
        unsigned width;
    } cases[] = {
        {300, 2592, 324, 2592}, {300, 2592, 1, 2592}, {300, 3000, 375, 2592}, {204, 2592, 324, 2592},
        {203, 1728, 216, 1728}, {203, 1728, 100, 1728}, {203, 2000, 250, 1728}, {203, 2592, 324, 1728},
    };
    for (const auto& c : cases) {
        const Area area = printArea(c.dpi, c.cx, c.rowBytes);
        EXPECT_EQ(area.offset, 0u) << c.dpi << " dpi, cx " << c.cx;
        EXPECT_EQ(area.width, c.width) << c.dpi << " dpi, cx " << c.cx;
    }
}

TEST(SendImage, TenRowsGoAsFourFourAndTwo)
{
    CapturedPrinter cap;
    Bytes data = sequence(30, 1);  // 10 rows of 3 bytes
    const std::string log = captureStderr(
        [&] { cap.printer.SendImage(30, _SIZEL{20, 10}, data.data()); });
    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 4u);
    EXPECT_EQ(packets[0].command, 0x43);
    EXPECT_EQ(le16(packets[0].payload, 0), 1280u);
    EXPECT_EQ(le16(packets[0].payload, 2), 24u);
    EXPECT_EQ(packets[0].sub, 0x00);
    EXPECT_EQ(packets[0].reserved, 0u);
    const size_t sizes[] = {12, 12, 6};
    Bytes sent;
    for (size_t i = 1; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i].command, 0x03);
        EXPECT_EQ(packets[i].sub, 0x00);
        EXPECT_EQ(packets[i].reserved, 0u);
        EXPECT_EQ(packets[i].payload.size(), sizes[i - 1]);
        sent.insert(sent.end(), packets[i].payload.begin(), packets[i].payload.end());
    }
    EXPECT_EQ(sent, data);
    EXPECT_EQ(log, "DEBUG:SendImage sizel(20, 10), wBytes(3), blocks(2)\n");
}

TEST(SendImage, FewerThanFourRowsGoAsOnePacket)
{
    CapturedPrinter cap;
    Bytes data = sequence(9, 0x40);
    cap.printer.SendImage(9, _SIZEL{24, 3}, data.data());
    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0].command, 0x43);
    EXPECT_EQ(packets[1].command, 0x03);
    EXPECT_EQ(packets[1].payload, data);
}

TEST(SendImage, WholeBlocksLeaveNoTrailingPacket)
{
    for (int64_t rows : {4, 8}) {
        CapturedPrinter cap;
        Bytes data = sequence(static_cast<size_t>(rows) * 2, 9);
        cap.printer.SendImage(rows * 2, _SIZEL{16, rows}, data.data());
        const auto packets = decodePackets(cap.bytes());
        ASSERT_EQ(packets.size(), 1 + static_cast<size_t>(rows / 4)) << rows << " rows";
        for (size_t i = 1; i < packets.size(); ++i) {
            EXPECT_EQ(packets[i].payload, Bytes(data.begin() + long((i - 1) * 8), data.begin() + long(i * 8)));
        }
    }
}

TEST(SendImage, NoRowsSendNothing)
{
    CapturedPrinter cap;
    Bytes data(8, 0xFF);
    cap.printer.SendImage(0, _SIZEL{64, 0}, data.data());
    cap.printer.SendImage(8, _SIZEL{64, 0}, data.data());
    EXPECT_TRUE(cap.bytes().empty());
}

TEST(SendImage, RowLengthIsTheIntegerQuotient)
{
    // 31 bytes over 10 rows: rows of 3 bytes, and the 31st byte is not sent.
    CapturedPrinter cap;
    Bytes data = sequence(31, 100);
    cap.printer.SendImage(31, _SIZEL{20, 10}, data.data());
    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 4u);
    EXPECT_EQ(le16(packets[0].payload, 2), 24u);
    Bytes sent;
    for (size_t i = 1; i < packets.size(); ++i) {
        sent.insert(sent.end(), packets[i].payload.begin(), packets[i].payload.end());
    }
    EXPECT_EQ(sent, Bytes(data.begin(), data.begin() + 30));
}

TEST(SendImage, FullWidthImageAtThreeHundredDpi)
{
    CapturedPrinter cap;
    const size_t rowBytes = 324;
    Bytes data(rowBytes * 9);
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<uint8_t>(i * 31 + i / 324);
    }
    cap.printer.SendImage(static_cast<long>(data.size()), _SIZEL{2592, 9}, data.data());
    const Bytes bytes = cap.bytes();
    const auto packets = decodePackets(bytes);
    ASSERT_EQ(packets.size(), 4u);
    EXPECT_EQ(le16(packets[0].payload, 0), 0u);
    EXPECT_EQ(le16(packets[0].payload, 2), 2592u);
    // The first row packet's length field: 1296 = 0x0510.
    const size_t firstRows = 14;
    EXPECT_EQ(bytes[firstRows + 3], 0x10);
    EXPECT_EQ(bytes[firstRows + 4], 0x05);
    EXPECT_EQ(packets[1].payload.size(), 1296u);
    EXPECT_EQ(packets[2].payload.size(), 1296u);
    EXPECT_EQ(packets[3].payload.size(), 324u);
    Bytes sent;
    for (size_t i = 1; i < packets.size(); ++i) {
        sent.insert(sent.end(), packets[i].payload.begin(), packets[i].payload.end());
    }
    EXPECT_EQ(sent, data);
}

TEST(SendImage, NarrowImageAtTwoHundredThreeDpi)
{
    CapturedPrinter cap;
    cap.printer.resolution = 203;
    Bytes data = sequence(125 * 5, 0);
    cap.printer.SendImage(125 * 5, _SIZEL{1000, 5}, data.data());
    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(le16(packets[0].payload, 0), 360u);
    EXPECT_EQ(le16(packets[0].payload, 2), 1000u);
    EXPECT_EQ(packets[1].payload.size(), 500u);
    EXPECT_EQ(packets[2].payload.size(), 125u);
}

TEST(SendImage, PackedRowsArriveAsTheRowsOfTheGrayImage)
{
    // Gray rows of 37 pixels: packed to 5 bytes a row, then sent.
    const int width = 37, height = 11;
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> coin(0, 2);
    Bytes gray(static_cast<size_t>(width) * height);
    for (uint8_t& g : gray) {
        g = coin(rng) == 0 ? 0 : static_cast<uint8_t>(1 + rng() % 255);
    }

    CapturedPrinter cap;
    Bytes data = gray;
    const int mono = cap.printer.GrayToMono(width, height, data.data());
    ASSERT_EQ(mono, 5 * height);
    cap.printer.SendImage(mono, _SIZEL{width, height}, data.data());

    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 4u);  // area, 4 rows, 4 rows, 3 rows
    EXPECT_EQ(le16(packets[0].payload, 0), 1272u);  // (2592 - 37) / 2 = 1277, down to 1272
    EXPECT_EQ(le16(packets[0].payload, 2), 40u);
    Bytes sent;
    for (size_t i = 1; i < packets.size(); ++i) {
        sent.insert(sent.end(), packets[i].payload.begin(), packets[i].payload.end());
    }
    ASSERT_EQ(sent.size(), size_t(5 * height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < 40; ++x) {
            const bool dot = (sent[size_t(y) * 5 + x / 8] >> (7 - x % 8)) & 1;
            const bool expected = x < width && gray[size_t(y) * width + x] != 0;
            ASSERT_EQ(dot, expected) << "pixel " << x << "," << y;
        }
    }
}
