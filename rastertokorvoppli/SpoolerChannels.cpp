// SPDX-License-Identifier: Apache-2.0
#include "SpoolerChannels.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "common/KorvoCancel.h"

namespace {

constexpr size_t kMessageHeader = 4;
constexpr size_t kMaxMessage = kMessageHeader + 65535;
constexpr int kMaxStaleMessages = 64;

// Waits until the descriptor is ready for the events; false on timeout,
// when the job is cancelled, and when the descriptor is not open (libcups
// would spin on it). fd -1 only waits.
bool waitFor(int fd, short events, double timeoutSeconds)
{
    pollfd waits[2] = {{fd, events, 0}, {korvoCancelFd(), POLLIN, 0}};
    int ready;
    do {
        ready = poll(waits, 2, timeoutSeconds < 0 ? -1 : static_cast<int>(timeoutSeconds * 1000));
    } while (ready < 0 && errno == EINTR && !korvoJobCancelled());
    return ready > 0 && !korvoJobCancelled() && (waits[0].revents & (events | POLLHUP | POLLERR)) != 0 &&
           (waits[0].revents & POLLNVAL) == 0;
}

ssize_t readOnce(int fd, void* buffer, size_t size)
{
    ssize_t count;
    do {
        count = read(fd, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

// One side-channel message, as cupsSideChannelRead takes it: false when
// nothing valid arrives in time.
bool readMessage(int fd, uint8_t* command, cups_sc_status_t* status, double timeoutSeconds)
{
    if (!waitFor(fd, POLLIN, timeoutSeconds)) {
        return false;
    }
    uint8_t message[kMaxMessage];
    const ssize_t count = readOnce(fd, message, sizeof(message));
    if (count < static_cast<ssize_t>(kMessageHeader)) {
        return false;
    }
    const size_t length = static_cast<size_t>(message[2]) << 8 | message[3];
    if (length > static_cast<size_t>(count) - kMessageHeader || message[1] > CUPS_SC_STATUS_NOT_IMPLEMENTED) {
        return false;
    }
    *command = message[0];
    *status = static_cast<cups_sc_status_t>(message[1]);
    return true;
}

}  // namespace

SpoolerChannels::SpoolerChannels(int backChannelFd, int sideChannelFd)
    : backChannelFd_(backChannelFd), sideChannelFd_(sideChannelFd)
{
}

cups_sc_status_t SpoolerChannels::drainOutput(double timeoutSeconds)
{
    const uint8_t request[kMessageHeader] = {CUPS_SC_CMD_DRAIN_OUTPUT, CUPS_SC_STATUS_NONE, 0, 0};
    if (!waitFor(sideChannelFd_, POLLOUT, timeoutSeconds)) {
        return CUPS_SC_STATUS_TIMEOUT;
    }
    ssize_t written;
    do {
        written = write(sideChannelFd_, request, sizeof(request));
    } while (written < 0 && errno == EINTR);
    if (written != static_cast<ssize_t>(sizeof(request))) {
        return CUPS_SC_STATUS_TIMEOUT;
    }
    uint8_t command = 0;
    cups_sc_status_t status = CUPS_SC_STATUS_NONE;
    if (!readMessage(sideChannelFd_, &command, &status, timeoutSeconds)) {
        return CUPS_SC_STATUS_TIMEOUT;
    }
    return command == CUPS_SC_CMD_DRAIN_OUTPUT ? status : CUPS_SC_STATUS_BAD_MESSAGE;
}

ssize_t SpoolerChannels::readBackChannel(unsigned char* buffer, size_t size, double timeoutSeconds)
{
    if (!waitFor(backChannelFd_, POLLIN, timeoutSeconds)) {
        return -1;
    }
    return readOnce(backChannelFd_, buffer, size);
}

void SpoolerChannels::sleep(std::chrono::milliseconds interval)
{
    waitFor(-1, 0, static_cast<double>(interval.count()) / 1000.0);
}

void SpoolerChannels::dropStaleReplies()
{
    uint8_t command = 0;
    cups_sc_status_t status = CUPS_SC_STATUS_NONE;
    for (int i = 0; i < kMaxStaleMessages && readMessage(sideChannelFd_, &command, &status, 0.0); ++i) {
    }
    unsigned char reply[1024];
    for (int i = 0; i < kMaxStaleMessages && readBackChannel(reply, sizeof(reply), 0.0) > 0; ++i) {
    }
}
