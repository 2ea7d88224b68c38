// SPDX-License-Identifier: Apache-2.0
// OndrelPrinter: the concrete printer. Adds the command set (print control,
// density, feeds, cut), the 1-bit image transfer and the status wait over
// the spooler's back channel.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <memory>

#include "CommandPacket.h"
#include "SpoolerChannels.h"
#include "printer/KorvoPrinter.h"

// Set by every FeedPaper: 1 after a feed of any kind but 4, 0 after kind 4.
// The page loop sends the go-back feed (kind 4) at the next page when set.
extern int32_t bNeedGoBack;

struct _SIZEL {
    int64_t cx;  // width in pixels
    int64_t cy;  // height in rows
};

// Status word bits reported by the printer.
constexpr long kStatusReady = 0x800000;
constexpr long kStatusPaperOut = 0x80000;
constexpr long kStatusCoverOpen = 0x10000;

// How the status wait reaches the printer: at most pollLimit polls, interval
// apart, over the link (by default the spooler's channels on fds 3 and 4).
struct StatusPolling {
    int pollLimit = 300;
    std::chrono::milliseconds interval{1000};
    std::shared_ptr<PrinterLink> link = std::make_shared<SpoolerChannels>();
};

class OndrelPrinter : public KorvoPrinter {
public:
    OndrelPrinter() = default;
    ~OndrelPrinter() override = default;

    // Simple commands.
    void PrintControl(unsigned char mode);  // 0 opens a block of commands, 1 closes it
    void SendPrintSetting();                // sends the print density
    void FeedPaper(int mode, int lines);
    void DoPaperCut();
    void DoFeedCutPaper();

    // Image transfer.
    void SendImage(long monoBytes, _SIZEL size, unsigned char* data);
    void SetPrintArea(_SIZEL size, long rowBytes);

    // Printer status. mode is the awaited bit: kStatusReady before a page,
    // kStatusPaperOut (the printer's "printed" bit) after it. Models other
    // than "R27", "V315", "K5" and "Q6" are not polled.
    bool WaitForPrinterStatus(int mode);
    void UpdatePrinterStatus(long status);
    void setStatusPolling(const StatusPolling& polling) { polling_ = polling; }

    int32_t tattooPrinter = 0;

protected:
    void doPrintImage(const unsigned char* data, size_t bytesPerLine, size_t height, size_t width) override;

private:
    void sendPacket(uint8_t command, uint8_t subCommand, const uint8_t* payload, uint16_t length);
    bool isPolledModel() const;
    std::optional<long> queryStatus();

    long lastPrinterStatus_ = 0;
    StatusPolling polling_;
};

// Writes each byte as "%02X " to stderr, then a newline.
void print_data_as_hex(const unsigned char* data, size_t size);
