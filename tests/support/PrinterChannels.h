// SPDX-License-Identifier: Apache-2.0
// The printer's side of the spooler's back and side channels, for a filter
// started by runFilter: fd 3 is the non-blocking read end of a pipe, fd 4
// one end of a socketpair. Every drain request the filter makes is answered
// the way libcups expects, after the scripted status reply for that poll
// has been written to the back channel.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace korvotest {

struct PollAnswer {
    std::vector<uint8_t> reply;  // written to the back channel; nothing when empty
    bool late = false;           // answered only after the filter's 1 s timeout
};

// A status reply: 64 FF 00 00 00, the status word little-endian, zeros up
// to the size. 1024 bytes satisfy the filter's read loop with one read, so
// that it does not wait out its timeout.
std::vector<uint8_t> statusReply(uint64_t status, size_t size = 1024);

class PrinterChannels {
public:
    // answerFor(n) gives the answer to the n-th drain request (from 0).
    explicit PrinterChannels(std::function<PollAnswer(int poll)> answerFor);
    ~PrinterChannels();
    PrinterChannels(const PrinterChannels&) = delete;
    PrinterChannels& operator=(const PrinterChannels&) = delete;

    int backChannelFd() const { return pipe_[0]; }
    int sideChannelFd() const { return socket_[1]; }

    // Serves drain requests until the filter process has exited.
    void serve(int pid);
    int polls() const { return polls_; }

private:
    void answer(const PollAnswer& answer);

    std::function<PollAnswer(int)> answerFor_;
    int pipe_[2] = {-1, -1};
    int socket_[2] = {-1, -1};
    int polls_ = 0;
};

}  // namespace korvotest
