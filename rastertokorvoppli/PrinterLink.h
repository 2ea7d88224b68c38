// SPDX-License-Identifier: Apache-2.0
// How the status wait reaches the printer once its query is in the printer
// stream: make what was written reach the printer, read the printer's reply,
// and hear of every status word the printer reports. The CUPS filter's link
// is the spooler's side and back channels (SpoolerChannels); a printer
// application supplies its own.
#pragma once

#include <cups/sidechannel.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>

class PrinterLink {
public:
    virtual ~PrinterLink() = default;

    // Sends everything written so far to the printer: CUPS_SC_STATUS_OK when
    // it went, CUPS_SC_STATUS_TIMEOUT or another status when not.
    virtual cups_sc_status_t drainOutput(double timeoutSeconds) = 0;

    // Reads what the printer sent, waiting up to the timeout for the first
    // byte: the count, 0 at the end, -1 on timeout or when nothing can be read.
    virtual ssize_t readBackChannel(unsigned char* buffer, size_t size, double timeoutSeconds) = 0;

    // Drops answers that arrived after their request timed out, so that they
    // are not taken for the answers to the next request.
    virtual void dropStaleReplies() = 0;

    // Waits between two requests; ends early when the job is cancelled.
    virtual void sleep(std::chrono::milliseconds interval) = 0;

    // A status word the printer reported in answer to the wait for `mode`
    // (kStatusReady before a page, kStatusPaperOut after it).
    virtual void statusReported(long status, int mode) = 0;
};
