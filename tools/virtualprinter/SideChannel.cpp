// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/SideChannel.h"

#include <cups/sidechannel.h>

#include <cstdio>

namespace virtualprinter {

namespace {

constexpr int kSideChannelFd = 4;
constexpr double kWriteTimeout = 1.0;

void answer(cups_sc_command_t command, cups_sc_status_t status, const std::string& data)
{
    if (cupsSideChannelWrite(command, status, data.data(), static_cast<int>(data.size()), kWriteTimeout) != 0) {
        fprintf(stderr, "DEBUG: Side channel answer to request %d not sent.\n", command);
    }
}

}  // namespace

SideChannel::SideChannel(std::string deviceId) : deviceId_(std::move(deviceId))
{
}

int SideChannel::fd() const
{
    return open_ ? kSideChannelFd : -1;
}

bool SideChannel::serveRequest()
{
    cups_sc_command_t command = CUPS_SC_CMD_NONE;
    cups_sc_status_t status = CUPS_SC_STATUS_NONE;
    char data[1024];
    int length = sizeof(data);
    // The end of the channel reads as no command: stop waiting on it.
    if (cupsSideChannelRead(&command, &status, data, &length, 0.0) != 0 || command == CUPS_SC_CMD_NONE) {
        fprintf(stderr, "DEBUG: Side channel closed.\n");
        open_ = false;
        return false;
    }
    switch (command) {
    case CUPS_SC_CMD_DRAIN_OUTPUT:
        return true;
    case CUPS_SC_CMD_GET_BIDI:
        answer(command, CUPS_SC_STATUS_OK, std::string(1, static_cast<char>(CUPS_SC_BIDI_SUPPORTED)));
        break;
    case CUPS_SC_CMD_GET_STATE:
        answer(command, CUPS_SC_STATUS_OK, std::string(1, static_cast<char>(CUPS_SC_STATE_ONLINE)));
        break;
    case CUPS_SC_CMD_GET_DEVICE_ID:
        answer(command, CUPS_SC_STATUS_OK, deviceId_);
        break;
    default:
        answer(command, CUPS_SC_STATUS_NOT_IMPLEMENTED, "");
        break;
    }
    return false;
}

void SideChannel::answerDrain()
{
    answer(CUPS_SC_CMD_DRAIN_OUTPUT, CUPS_SC_STATUS_OK, "");
}

}  // namespace virtualprinter
