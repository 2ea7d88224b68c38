// The printer object: defaults, clamping setters and the output stream list.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "OndrelPrinter.h"
#include "PrinterCapture.h"

using printertest::CapturedPrinter;
using printertest::MemStream;

TEST(PrinterObject, FreshPrinterHasTheDocumentedDefaults)
{
    OndrelPrinter printer;
    EXPECT_EQ(printer.getPrintSpeed(), 7);
    EXPECT_EQ(printer.getPrintDensity(), 8);
    EXPECT_EQ(printer.resolution, 300);
    EXPECT_EQ(printer.getHalftoneType(), DITHER_NONE);
    EXPECT_EQ(printer.getBrightness(), 0);
    EXPECT_EQ(printer.getContrast(), 0);
    EXPECT_FALSE(printer.isNegativePrint());
    EXPECT_FALSE(printer.isMirrorPrint());
    EXPECT_FALSE(printer.isRotate180Print());
    EXPECT_EQ(printer.getSkipRightPixels(), 0u);
    EXPECT_EQ(printer.getRemoveBlankEdges(), 0);
    EXPECT_EQ(printer.GetPrintWidth(), 0);
    EXPECT_EQ(printer.getPageHeader(), nullptr);
    EXPECT_EQ(printer.getUserData(), nullptr);
    EXPECT_EQ(printer.tattooPrinter, 0);

    const std::list<FILE*>& streams = printer.getOutputStreams();
    ASSERT_EQ(streams.size(), 1u);
    EXPECT_EQ(streams.front(), stdout);
}

TEST(PrinterObject, BrightnessAndContrastClampToPlusMinusHundred)
{
    OndrelPrinter printer;
    const struct {
        int in, stored;
    } cases[] = {{-101, -100}, {-100, -100}, {-99, -99}, {0, 0},         {42, 42},
                 {100, 100},   {101, 100},   {-100000, -100}, {100000, 100}};
    for (const auto& c : cases) {
        printer.setBrightness(c.in);
        EXPECT_EQ(printer.getBrightness(), c.stored) << "brightness " << c.in;
        printer.setContrast(c.in);
        EXPECT_EQ(printer.getContrast(), c.stored) << "contrast " << c.in;
    }
    // Each setter touches only its own field.
    printer.setBrightness(-30);
    printer.setContrast(55);
    EXPECT_EQ(printer.getBrightness(), -30);
    EXPECT_EQ(printer.getContrast(), 55);
}

TEST(PrinterObject, DensityClampsToZeroToFifteen)
{
    OndrelPrinter printer;
    const struct {
        int in, stored;
    } cases[] = {{-1, 0}, {0, 0}, {1, 1}, {8, 8}, {15, 15}, {16, 15}, {-500, 0}, {255, 15}};
    for (const auto& c : cases) {
        printer.setPrintDensity(c.in);
        EXPECT_EQ(printer.getPrintDensity(), c.stored) << "density " << c.in;
    }
}

TEST(PrinterObject, SpeedIsParsedAsNumberAndClampedToOneToFifteen)
{
    OndrelPrinter printer;
    const struct {
        const char* in;
        int stored;
    } cases[] = {{"0", 1}, {"abc", 1}, {"", 1},  {"-4", 1},  {"1", 1},   {"7", 7},
                 {"15", 15}, {"16", 15}, {"999", 15}, {"12ips", 12}, {" 9", 9}};
    for (const auto& c : cases) {
        printer.setPrintSpeed(c.in);
        EXPECT_EQ(printer.getPrintSpeed(), c.stored) << "speed \"" << c.in << "\"";
    }
}

TEST(PrinterObject, PlainSettersStoreTheirArgumentUnchanged)
{
    OndrelPrinter printer;
    printer.setHalftoneType(static_cast<DitherType>(37));  // unchecked
    EXPECT_EQ(static_cast<int>(printer.getHalftoneType()), 37);
    printer.setAntiWrinkle(-1);
    EXPECT_EQ(printer.getAntiWrinkle(), -1);
    printer.setSkipRightPixels(123456789012ul);
    EXPECT_EQ(printer.getSkipRightPixels(), 123456789012ul);
    printer.setRemoveBlankEdges(0xA5);
    EXPECT_EQ(printer.getRemoveBlankEdges(), 0xA5);
    printer.setMaxMediaWidth(-3);
    EXPECT_EQ(printer.getMaxMediaWidth(), -3);
    printer.setVBarcodeOpt(77);
    EXPECT_EQ(printer.getVBarcodeOpt(), 77);
    EXPECT_EQ(printer.SetPrintWidth(4096), &printer);
    EXPECT_EQ(printer.GetPrintWidth(), 4096);
    printer.setMirrorPrint(true);
    printer.setNegativePrint(true);
    printer.setRotate180Print(true);
    EXPECT_TRUE(printer.isMirrorPrint());
    EXPECT_TRUE(printer.isNegativePrint());
    EXPECT_TRUE(printer.isRotate180Print());
    cups_page_header2_t header;
    printer.setPageHeader(&header);
    EXPECT_EQ(printer.getPageHeader(), &header);  // kept by pointer, not copied
}

TEST(PrinterOutput, EveryStreamReceivesTheSameBytesInCallOrder)
{
    OndrelPrinter printer;
    MemStream first, second;
    printer.getOutputStreams().clear();
    printer.getOutputStreams().push_back(first.file());
    printer.getOutputStreams().push_back(second.file());

    const unsigned char block[] = {0x64, 0x00, 0x9B, 0xFF, 0x00, 0x10};
    printer.printBytes(block, sizeof(block));
    printer.printByte(0x00);
    printer.printStr("ab%dc");  // written as it is, not as a format
    printer.printByte(0xFE);
    printer.printBytes(block + 2, 2);
    EXPECT_EQ(printer.printFormat("<%03d|%s>", 7, "x"), 7);  // "<007|x>"

    const std::vector<uint8_t> expected = {0x64, 0x00, 0x9B, 0xFF, 0x00, 0x10, 0x00, 'a', 'b', '%', 'd', 'c',
                                           0xFE, 0x9B, 0xFF, '<',  '0',  '0',  '7',  '|', 'x', '>'};
    EXPECT_EQ(first.bytes(), expected);
    EXPECT_EQ(second.bytes(), expected);
    printer.getOutputStreams().clear();
}

TEST(PrinterOutput, ZeroLengthWriteAddsNothing)
{
    CapturedPrinter cap;
    const unsigned char byte = 0x55;
    cap.printer.printBytes(&byte, 0);
    cap.printer.printStr("");
    EXPECT_TRUE(cap.bytes().empty());
}

TEST(PrinterOutput, AppendedStreamComesAfterTheFirstAndBothGetEveryByte)
{
    // The capture file is appended behind the stream already listed; the
    // list keeps that order and writes to both.
    OndrelPrinter printer;
    MemStream primary, capture;
    printer.getOutputStreams().front() = primary.file();
    printer.getOutputStreams().push_back(capture.file());
    ASSERT_EQ(printer.getOutputStreams().size(), 2u);
    EXPECT_EQ(printer.getOutputStreams().front(), primary.file());
    EXPECT_EQ(printer.getOutputStreams().back(), capture.file());

    printer.PrintControl(0);
    printer.SendPrintSetting();
    EXPECT_FALSE(primary.bytes().empty());
    EXPECT_EQ(primary.bytes(), capture.bytes());
    printer.getOutputStreams().clear();
}

TEST(PrinterOutput, PrintFormatReturnsTheCountOfTheLastStream)
{
    // A stream opened for reading only fails every write (vfprintf < 0);
    // where it stands in the list decides the result.
    FILE* readOnly = fopen("/dev/null", "r");
    ASSERT_NE(readOnly, nullptr);
    MemStream good;

    OndrelPrinter printer;
    printer.getOutputStreams().clear();
    printer.getOutputStreams().push_back(readOnly);
    printer.getOutputStreams().push_back(good.file());
    EXPECT_EQ(printer.printFormat("%s-%d", "page", 12), 7);

    printer.getOutputStreams().clear();
    printer.getOutputStreams().push_back(good.file());
    printer.getOutputStreams().push_back(readOnly);
    EXPECT_LT(printer.printFormat("%s-%d", "page", 12), 0);

    // Both formatted lines reached the good stream: each stream gets its own
    // copy of the arguments.
    const std::vector<uint8_t> bytes = good.bytes();
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "page-12page-12");

    printer.getOutputStreams().clear();
    fclose(readOnly);
}

TEST(PrinterOutput, StreamsAreNotClosedByThePrinter)
{
    MemStream capture;
    {
        OndrelPrinter printer;
        printer.getOutputStreams().clear();
        printer.getOutputStreams().push_back(capture.file());
        printer.printByte('A');
    }
    // Still open and usable after the printer is gone, and the printer sent
    // nothing on destruction.
    EXPECT_GE(fputc('B', capture.file()), 0);
    const std::vector<uint8_t> bytes = capture.bytes();
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "AB");
}
