// SPDX-License-Identifier: Apache-2.0
// The status wait's way to the printer in the printer application: PAPPL's
// device API (papplDeviceFlush, papplDeviceRead), and every status word
// reported as the printer's printer-state-reasons (see StatusReasons.h) and,
// during a job, as the job's message.
#pragma once

#include <pappl/pappl.h>

#include "PrinterLink.h"

class DeviceLink : public PrinterLink {
public:
    // job may be null: an idle status poll.
    DeviceLink(pappl_device_t* device, pappl_printer_t* printer, pappl_job_t* job);

    // Sends what PAPPL holds for the device.
    cups_sc_status_t drainOutput(double timeoutSeconds) override;
    // One papplDeviceRead; PAPPL's device decides how long it waits.
    ssize_t readBackChannel(unsigned char* buffer, size_t size, double timeoutSeconds) override;
    // PAPPL's device API reads only by waiting; a late reply is read, and
    // taken for what it is, by the next poll.
    void dropStaleReplies() override {}
    // Waits the interval or until the job is cancelled.
    void sleep(std::chrono::milliseconds interval) override;
    void statusReported(long status, int awaited) override;
    // Whether the printer has answered a status query.
    bool answered() const { return answered_; }

private:
    pappl_device_t* device_;
    pappl_printer_t* printer_;
    pappl_job_t* job_;
    bool answered_ = false;
};
