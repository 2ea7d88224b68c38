// The packet frame and the simple commands: print control, density, feeds
// and the cut.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CommandPacket.h"
#include "OndrelPrinter.h"
#include "PrinterCapture.h"

using printertest::CapturedPrinter;
using printertest::decodePackets;
using printertest::Packet;
using Bytes = std::vector<uint8_t>;

namespace {

// The wire bytes of a record built by hand, through RapToArray.
Bytes wire(_ASTRAPV2 record, long* sizeOut = nullptr)
{
    long size = -1;
    uint8_t* raw = RapToArray(&record, &size);
    if (sizeOut != nullptr) {
        *sizeOut = size;
    }
    if (raw == nullptr) {
        ADD_FAILURE() << "RapToArray returned null";
        return {};
    }
    Bytes bytes(raw, raw + size);
    free(raw);
    return bytes;
}

_ASTRAPV2 record(uint8_t command, uint8_t sub, uint8_t* payload, uint16_t length)
{
    _ASTRAPV2 r;
    std::memset(&r, 0, sizeof(r));
    r.head = 0x64;
    r.tail = 0x9B;
    r.command = command;
    r.subCommand = sub;
    r.length = length;
    r.payload = payload;
    return r;
}

}  // namespace

TEST(PacketRecord, IsBytePacked)
{
    EXPECT_EQ(sizeof(_ASTRAPV2), 3 + sizeof(uint16_t) + sizeof(uint8_t*) + sizeof(uint32_t) + 1);
    EXPECT_EQ(offsetof(_ASTRAPV2, length), 3u);
    EXPECT_EQ(offsetof(_ASTRAPV2, payload), 5u);
    EXPECT_EQ(offsetof(_ASTRAPV2, reserved), 5u + sizeof(uint8_t*));
}

TEST(RapToArray, LaysOutHeaderPayloadReservedAndTail)
{
    uint8_t payload[300];
    for (size_t i = 0; i < sizeof(payload); ++i) {
        payload[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    long size = 0;
    const Bytes bytes = wire(record(0x43, 0x21, payload, 300), &size);
    ASSERT_EQ(size, 310);
    ASSERT_EQ(bytes.size(), 310u);
    EXPECT_EQ(bytes[0], 0x64);
    EXPECT_EQ(bytes[1], 0x43);
    EXPECT_EQ(bytes[2], 0x21);
    EXPECT_EQ(bytes[3], 0x2C);  // 300 = 0x012C, low byte first
    EXPECT_EQ(bytes[4], 0x01);
    EXPECT_EQ(Bytes(bytes.begin() + 5, bytes.begin() + 305), Bytes(payload, payload + 300));
    EXPECT_EQ(Bytes(bytes.begin() + 305, bytes.begin() + 309), Bytes(4, 0x00));
    EXPECT_EQ(bytes[309], 0x9B);
}

TEST(RapToArray, EmptyPayloadGivesTenBytes)
{
    long size = 0;
    const Bytes bytes = wire(record(0x10, 0x40, nullptr, 0), &size);
    EXPECT_EQ(size, 10);
    EXPECT_EQ(bytes, (Bytes{0x64, 0x10, 0x40, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B}));
}

TEST(RapToArray, ReservedWordAndLengthAreLittleEndian)
{
    uint8_t payload[0x0102] = {};
    payload[0] = 0xAA;
    payload[0x0101] = 0xBB;
    _ASTRAPV2 r = record(0x03, 0x00, payload, 0x0102);
    r.reserved = 0x11223344;
    const Bytes bytes = wire(r);
    ASSERT_EQ(bytes.size(), 0x0102u + 10);
    EXPECT_EQ(bytes[3], 0x02);
    EXPECT_EQ(bytes[4], 0x01);
    EXPECT_EQ(bytes[5], 0xAA);
    EXPECT_EQ(bytes[5 + 0x0101], 0xBB);
    const size_t reserved = 5 + 0x0102;
    EXPECT_EQ(bytes[reserved + 0], 0x44);
    EXPECT_EQ(bytes[reserved + 1], 0x33);
    EXPECT_EQ(bytes[reserved + 2], 0x22);
    EXPECT_EQ(bytes[reserved + 3], 0x11);
    EXPECT_EQ(bytes[reserved + 4], 0x9B);
}

TEST(RapToArray, HeadAndTailComeFromTheRecord)
{
    uint8_t one = 0x5A;
    _ASTRAPV2 r = record(0x0E, 0x40, &one, 1);
    r.head = 0x12;
    r.tail = 0x34;
    EXPECT_EQ(wire(r), (Bytes{0x12, 0x0E, 0x40, 0x01, 0x00, 0x5A, 0x00, 0x00, 0x00, 0x00, 0x34}));
}

TEST(RapToArray, LargestPayloadLength)
{
    std::vector<uint8_t> payload(0xFFFF, 0x5C);
    long size = 0;
    const Bytes bytes = wire(record(0x03, 0x00, payload.data(), 0xFFFF), &size);
    EXPECT_EQ(size, 0xFFFF + 10);
    ASSERT_EQ(bytes.size(), 0xFFFFu + 10);
    EXPECT_EQ(bytes[3], 0xFF);
    EXPECT_EQ(bytes[4], 0xFF);
    EXPECT_EQ(bytes[5 + 0xFFFE], 0x5C);
    EXPECT_EQ(bytes.back(), 0x9B);
}

TEST(Commands, PrintControlBytes)
{
    CapturedPrinter cap;
    cap.printer.PrintControl(0);
    cap.printer.PrintControl(1);
    EXPECT_EQ(cap.bytes(), (Bytes{0x64, 0x0E, 0x40, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,  //
                                  0x64, 0x0E, 0x40, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x9B}));
}

TEST(Commands, PrintSettingCarriesTheClampedDensity)
{
    CapturedPrinter cap;
    cap.printer.SendPrintSetting();  // default density 8
    EXPECT_EQ(cap.bytes(), (Bytes{0x64, 0x41, 0x00, 0x01, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x9B}));

    cap.printer.setPrintDensity(99);
    cap.printer.SendPrintSetting();
    cap.printer.setPrintDensity(-7);
    cap.printer.SendPrintSetting();
    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(packets[1].payload, Bytes{15});
    EXPECT_EQ(packets[2].payload, Bytes{0});
}

TEST(Commands, FeedAndCutBytes)
{
    CapturedPrinter cap;
    cap.printer.FeedPaper(3, 0);
    EXPECT_EQ(cap.bytes(), (Bytes{0x64, 0x00, 0x00, 0x03, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B}));

    CapturedPrinter cut;
    cut.printer.DoPaperCut();
    EXPECT_EQ(cut.bytes(), (Bytes{0x64, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B}));
}

TEST(Commands, FeedLinesAreLittleEndianSixteenBits)
{
    CapturedPrinter cap;
    cap.printer.FeedPaper(0, 300);
    cap.printer.FeedPaper(5, 0x12345);  // only the low 16 bits survive
    cap.printer.FeedPaper(0, 65535);
    cap.printer.FeedPaper(0, 65536);
    cap.printer.FeedPaper(0, -1);
    cap.printer.FeedPaper(0, 141);
    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 6u);
    for (const Packet& p : packets) {
        EXPECT_EQ(p.command, 0x00);
        EXPECT_EQ(p.sub, 0x00);
        EXPECT_EQ(p.reserved, 0u);
    }
    EXPECT_EQ(packets[0].payload, (Bytes{0x00, 0x2C, 0x01}));
    EXPECT_EQ(packets[1].payload, (Bytes{0x05, 0x45, 0x23}));
    EXPECT_EQ(packets[2].payload, (Bytes{0x00, 0xFF, 0xFF}));
    EXPECT_EQ(packets[3].payload, (Bytes{0x00, 0x00, 0x00}));
    EXPECT_EQ(packets[4].payload, (Bytes{0x00, 0xFF, 0xFF}));
    EXPECT_EQ(packets[5].payload, (Bytes{0x00, 0x8D, 0x00}));
}

TEST(Commands, FeedModeKeepsItsLowByte)
{
    CapturedPrinter cap;
    cap.printer.FeedPaper(0x1FF, 2);
    cap.printer.FeedPaper(256, 2);
    cap.printer.FeedPaper(-1, 2);
    const auto packets = decodePackets(cap.bytes());
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(packets[0].payload, (Bytes{0xFF, 0x02, 0x00}));
    EXPECT_EQ(packets[1].payload, (Bytes{0x00, 0x02, 0x00}));
    EXPECT_EQ(packets[2].payload, (Bytes{0xFF, 0x02, 0x00}));
}

TEST(Commands, EveryFeedButModeFourAsksForTheGoBack)
{
    CapturedPrinter cap;
    for (int mode : {0, 1, 2, 3, 5, 255}) {
        bNeedGoBack = 0;
        cap.printer.FeedPaper(mode, 0);
        EXPECT_EQ(bNeedGoBack, 1) << "mode " << mode;
    }
    for (int lines : {0, 7, 300}) {
        bNeedGoBack = 1;
        cap.printer.FeedPaper(4, lines);
        EXPECT_EQ(bNeedGoBack, 0) << "mode 4 with " << lines << " lines";
    }
    // The flag follows the mode argument, not the byte on the wire: 260 is
    // sent as 04 but is not the go-back feed.
    bNeedGoBack = 0;
    cap.printer.FeedPaper(260, 0);
    EXPECT_EQ(bNeedGoBack, 1);
    const auto packets = decodePackets(cap.bytes());
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(packets.back().payload[0], 0x04);
    // A set flag stays set across further non-go-back feeds.
    cap.printer.FeedPaper(3, 0);
    EXPECT_EQ(bNeedGoBack, 1);
    bNeedGoBack = 0;
}

TEST(Commands, FeedCutIsFeedThreeThenCut)
{
    CapturedPrinter cap;
    bNeedGoBack = 0;
    cap.printer.DoFeedCutPaper();
    EXPECT_EQ(bNeedGoBack, 1);
    EXPECT_EQ(cap.bytes(), (Bytes{0x64, 0x00, 0x00, 0x03, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,
                                  0x64, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B}));
    bNeedGoBack = 0;
}

TEST(Commands, CutLeavesTheGoBackFlagAlone)
{
    CapturedPrinter cap;
    bNeedGoBack = 0;
    cap.printer.DoPaperCut();
    cap.printer.PrintControl(0);
    cap.printer.SendPrintSetting();
    EXPECT_EQ(bNeedGoBack, 0);
    bNeedGoBack = 1;
    cap.printer.DoPaperCut();
    EXPECT_EQ(bNeedGoBack, 1);
    bNeedGoBack = 0;
}

TEST(Commands, PageSequenceReachesEveryStreamInOrder)
{
    OndrelPrinter printer;
    printertest::MemStream first, second;
    printer.getOutputStreams().clear();
    printer.getOutputStreams().push_back(first.file());
    printer.getOutputStreams().push_back(second.file());

    printer.setPrintDensity(15);
    printer.PrintControl(0);
    printer.SendPrintSetting();
    printer.PrintControl(1);
    printer.FeedPaper(4, 0);
    printer.DoFeedCutPaper();
    printer.PrintControl(1);

    const Bytes bytes = first.bytes();
    EXPECT_EQ(bytes, second.bytes());
    const auto packets = decodePackets(bytes);
    ASSERT_EQ(packets.size(), 7u);
    const uint8_t commands[] = {0x0E, 0x41, 0x0E, 0x00, 0x00, 0x02, 0x0E};
    for (size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i].command, commands[i]) << "packet " << i;
        EXPECT_EQ(packets[i].reserved, 0u);
    }
    EXPECT_EQ(packets[1].payload, Bytes{15});
    EXPECT_EQ(packets[3].payload, (Bytes{4, 0, 0}));
    EXPECT_EQ(packets[4].payload, (Bytes{3, 0, 0}));
    EXPECT_TRUE(packets[5].payload.empty());
    printer.getOutputStreams().clear();
    bNeedGoBack = 0;
}
