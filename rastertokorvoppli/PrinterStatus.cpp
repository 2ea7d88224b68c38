// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstring>
#include <optional>

#include "OndrelPrinter.h"
#include "common/KorvoCancel.h"

namespace {

constexpr size_t kReplySize = 1024;
constexpr long kStatusReplySize = 13;  // head, 0xFF, three bytes, the 64-bit status word
constexpr double kChannelTimeout = 1.0;

const char* const kPolledModels[] = {"R27", "V315", "K5", "Q6"};

bool isStatusReply(const unsigned char* reply, long size)
{
    return size >= 1 && reply[0] == 0x64 && reply[1] == 0xFF;
}

// Reads the printer's reply. The space left shrinks by the running total,
// not by each read's count, so only a few reads are made. A complete status
// reply ends the reading at once rather than after a read that times out.
long readReply(PrinterLink& link, unsigned char* reply)
{
    long total = 0;
    long remaining = kReplySize;
    while (remaining > 0 && !(total >= kStatusReplySize && isStatusReply(reply, total))) {
        const ssize_t count = link.readBackChannel(reply + total, static_cast<size_t>(remaining), kChannelTimeout);
        fprintf(stderr, "DEBUG: cupsBackChannelRead bytes %d\n", static_cast<int>(count));
        if (count < 1) {
            break;
        }
        total += count;
        remaining -= total;
    }
    return total;
}

long statusWord(const unsigned char* reply)
{
    unsigned long word = 0;
    for (int i = 7; i >= 0; --i) {
        word = (word << 8) | reply[5 + i];
    }
    return static_cast<long>(word);
}

}  // namespace

void print_data_as_hex(const unsigned char* data, size_t size)
{
    for (size_t i = 0; i < size; ++i) {
        fprintf(stderr, "%02X ", data[i]);
    }
    fprintf(stderr, "\n");
}

bool OndrelPrinter::isPolledModel() const
{
    if (modelName == nullptr) {
        return false;
    }
    for (const char* model : kPolledModels) {
        if (strcmp(modelName, model) == 0) {
            return true;
        }
    }
    return false;
}

// One poll: the status query, a drain so that it reaches the printer, and
// the reply. Gives the status word when the reply carried one.
std::optional<long> OndrelPrinter::queryStatus()
{
    polling_.link->dropStaleReplies();
    sendPacket(kCmdStatusQuery, kSubStatusQuery, nullptr, 0);
    for (FILE* stream : getOutputStreams()) {
        fflush(stream);
    }

    const cups_sc_status_t drained = polling_.link->drainOutput(kChannelTimeout);
    fprintf(stderr, "DEBUG: cups_sc_status_t = %d\n", drained);

    unsigned char reply[kReplySize];
    memset(reply, 0, sizeof(reply));
    const long total = drained == CUPS_SC_STATUS_OK ? readReply(*polling_.link, reply) : 0;
    fprintf(stderr, "DEBUG: cupsBackChannelRead Printer Status Data %ld bytes - ", total);
    print_data_as_hex(reply, static_cast<size_t>(total));

    if (!isStatusReply(reply, total)) {
        return std::nullopt;
    }
    return statusWord(reply);
}

bool OndrelPrinter::WaitForPrinterStatus(int mode)
{
    if (!isPolledModel()) {
        return true;
    }
    fprintf(stderr, "DEBUG: Enter WaitForPrinterReady\n");
    for (int poll = 0; poll < polling_.pollLimit && !korvoJobCancelled(); ++poll) {
        if (const std::optional<long> reply = queryStatus()) {
            const long status = *reply;
            polling_.link->statusReported(status, mode);
            UpdatePrinterStatus(status);
            if (mode == kStatusReady && (status & kStatusReady) != 0 && (status & kStatusPaperOut) == 0) {
                fprintf(stderr, "DEBUG: Exit WaitForPrinterReady: ready to print.\n");
                return true;
            }
            if (mode == kStatusPaperOut && (status & kStatusPaperOut) != 0) {
                return true;
            }
        }
        polling_.link->sleep(polling_.interval);
    }
    if (korvoJobCancelled()) {
        return false;
    }
    fprintf(stderr, "WARNING: The printer did not report %s after %d status queries; going on.\n",
            mode == kStatusReady ? "ready" : "the page printed", polling_.pollLimit);
    return false;
}

void OndrelPrinter::UpdatePrinterStatus(long status)
{
    if (status == lastPrinterStatus_) {
        return;
    }
    lastPrinterStatus_ = status;
    const bool paperOut = (status & kStatusPaperOut) != 0;
    const bool coverOpen = (status & kStatusCoverOpen) != 0;
    fprintf(stderr, "STATE: %cmedia-empty-warning\n", paperOut ? '+' : '-');
    fprintf(stderr, "INFO: %s\n", paperOut ? "Paper out." : "Printing");
    fprintf(stderr, "STATE: %ccover-open-warning\n", coverOpen ? '+' : '-');
}
