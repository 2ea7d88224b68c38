// SPDX-License-Identifier: Apache-2.0
#include "DeviceLink.h"

#include <poll.h>

#include "StatusReasons.h"
#include "common/KorvoCancel.h"

DeviceLink::DeviceLink(pappl_device_t* device, pappl_printer_t* printer, pappl_job_t* job)
    : device_(device), printer_(printer), job_(job)
{
}

cups_sc_status_t DeviceLink::drainOutput(double)
{
    papplDeviceFlush(device_);
    return CUPS_SC_STATUS_OK;
}

ssize_t DeviceLink::readBackChannel(unsigned char* buffer, size_t size, double)
{
    if (korvoJobCancelled()) {
        return -1;
    }
    return papplDeviceRead(device_, buffer, size);
}

void DeviceLink::sleep(std::chrono::milliseconds interval)
{
    pollfd cancel{korvoCancelFd(), POLLIN, 0};
    poll(&cancel, 1, static_cast<int>(interval.count()));
}

void DeviceLink::statusReported(long status, int awaited)
{
    answered_ = true;
    const ReasonChange change = reasonsFor(status, awaited);
    papplPrinterSetReasons(printer_, change.add, change.remove);
    if (job_ == nullptr) {
        return;
    }
    if ((change.add & PAPPL_PREASON_COVER_OPEN) != 0) {
        papplJobSetMessage(job_, "Waiting: the printer's cover is open.");
    } else if ((change.add & PAPPL_PREASON_MEDIA_EMPTY) != 0) {
        papplJobSetMessage(job_, "Waiting: the printer is out of paper.");
    } else {
        papplJobSetMessage(job_, "Printing.");
    }
}
