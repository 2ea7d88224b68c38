#include <cups/backend.h>
#include <cups/sidechannel.h>
#include <fcntl.h>
#include <poll.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <thread>

#include "OndrelPrinter.h"

namespace {

constexpr int kBackChannelFd = 3;
constexpr size_t kReplySize = 1024;
constexpr double kChannelTimeout = 1.0;
constexpr int kMaxStaleMessages = 64;

const char* const kPolledModels[] = {"R27", "V315", "K5", "Q6"};

// libcups spins forever reading a closed back channel, so every read is
// guarded by this check.
bool backChannelOpen()
{
    return fcntl(kBackChannelFd, F_GETFD) != -1;
}

bool backChannelHasData()
{
    pollfd pfd{kBackChannelFd, POLLIN, 0};
    return poll(&pfd, 1, 0) == 1 && (pfd.revents & POLLIN) != 0;
}

// A reply that arrived after its poll timed out must not be taken as the
// answer to the next query: drop every late drain answer and status reply.
void dropStaleReplies()
{
    for (int i = 0; i < kMaxStaleMessages; ++i) {
        cups_sc_command_t command;
        cups_sc_status_t status;
        char data[kReplySize];
        int length = sizeof(data);
        if (cupsSideChannelRead(&command, &status, data, &length, 0.0) != 0) {
            break;
        }
    }
    if (!backChannelOpen()) {
        return;
    }
    for (int i = 0; i < kMaxStaleMessages && backChannelHasData(); ++i) {
        char data[kReplySize];
        if (cupsBackChannelRead(data, sizeof(data), 0.0) < 1) {
            break;
        }
    }
}

// Reads the printer's reply. The space left shrinks by the running total,
// not by each read's count, so only a few reads are made.
long readReply(unsigned char* reply)
{
    long total = 0;
    if (!backChannelOpen()) {
        return total;
    }
    long remaining = kReplySize;
    while (remaining > 0) {
        const ssize_t count =
            cupsBackChannelRead(reinterpret_cast<char*>(reply) + total, static_cast<size_t>(remaining),
                                kChannelTimeout);
        fprintf(stderr, "DEBUG: cupsBackChannelRead bytes %d\n", static_cast<int>(count));
        if (count < 1) {
            break;
        }
        total += count;
        remaining -= total;
    }
    return total;
}

bool isStatusReply(const unsigned char* reply, long size)
{
    return size >= 1 && reply[0] == 0x64 && reply[1] == 0xFF;
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
    dropStaleReplies();
    sendPacket(kCmdStatusQuery, kSubStatusQuery, nullptr, 0);
    for (FILE* stream : getOutputStreams()) {
        fflush(stream);
    }

    char drainData[kReplySize];
    int drainLength = sizeof(drainData);
    const cups_sc_status_t drained =
        cupsSideChannelDoRequest(CUPS_SC_CMD_DRAIN_OUTPUT, drainData, &drainLength, kChannelTimeout);
    fprintf(stderr, "DEBUG: cups_sc_status_t = %d\n", drained);

    unsigned char reply[kReplySize];
    memset(reply, 0, sizeof(reply));
    const long total = drained == CUPS_SC_STATUS_OK ? readReply(reply) : 0;
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
    for (int poll = 0; poll < polling_.pollLimit; ++poll) {
        if (const std::optional<long> reply = queryStatus()) {
            const long status = *reply;
            UpdatePrinterStatus(status);
            if (mode == kStatusReady && (status & kStatusReady) != 0 && (status & kStatusPaperOut) == 0) {
                fprintf(stderr, "DEBUG: Exit WaitForPrinterReady: ready to print.\n");
                return true;
            }
            if (mode == kStatusPaperOut && (status & kStatusPaperOut) != 0) {
                return true;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(polling_.intervalMilliseconds));
    }
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
