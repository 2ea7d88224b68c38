// SPDX-License-Identifier: Apache-2.0
// The filter's ends of the spooler's channels to the backend: the back
// channel, from which the printer's replies are read, and the side channel,
// on which the backend is asked to drain what the filter wrote. Speaks the
// libcups wire format (command, status, 16-bit big-endian length, data) on
// any pair of descriptors; the spooler gives a filter fds 3 and 4. The
// filter tells the spooler the printer's status itself, on standard error.
#pragma once

#include "PrinterLink.h"

class SpoolerChannels : public PrinterLink {
public:
    SpoolerChannels(int backChannelFd = 3, int sideChannelFd = 4);

    // Asks the backend to send everything written so far to the printer and
    // waits for its answer: the answer's status, CUPS_SC_STATUS_TIMEOUT when
    // the request cannot be sent or no answer comes in time.
    cups_sc_status_t drainOutput(double timeoutSeconds) override;

    // Reads what the printer sent, waiting up to the timeout for the first
    // byte: the count, 0 at the end of the channel, -1 on timeout or when the
    // channel is not open.
    ssize_t readBackChannel(unsigned char* buffer, size_t size, double timeoutSeconds) override;

    // Drops answers and replies that arrived after their request timed out,
    // so that they are not taken for the answers to the next request.
    void dropStaleReplies() override;

    // Waits between two requests. Every wait ends early when the job is
    // cancelled.
    void sleep(std::chrono::milliseconds interval) override;
    void statusReported(long, int) override {}

private:
    int backChannelFd_;
    int sideChannelFd_;
};
