// SPDX-License-Identifier: Apache-2.0
#include "KorvoJob.h"

#include <memory>

#include "CaptureDirectory.h"
#include "DeviceLink.h"
#include "JobSettings.h"
#include "Media.h"
#include "PageHeader.h"
#include "VendorValues.h"
#include "common/KorvoString.h"

namespace {

constexpr int kStatusPollLimit = 300;
constexpr std::chrono::milliseconds kStatusPollInterval{1000};

pappl_label_mode_t labelModeOf(pappl_printer_t* printer)
{
    pappl_pr_driver_data_t data;
    papplPrinterGetDriverData(printer, &data);
    return data.mode_configured;
}

// The frame code finds the canvas by the PPD's size name: the page's own
// PWG name when it has one of the PPDs' sizes, else the job's media.
void nameSize(cups_page_header2_t& header, const char* jobMedia)
{
    const char* name = ppdSizeName(header.cupsPageSizeName);
    if (name == nullptr) {
        name = ppdSizeName(jobMedia);
    }
    korvoStrCpy(header.cupsPageSizeName, name != nullptr ? name : "Custom", sizeof(header.cupsPageSizeName));
}

}  // namespace

KorvoJob::KorvoJob(pappl_job_t* job, const KorvoDriver& driver, const pappl_pr_options_t& options,
                   pappl_device_t* device)
    : turn(job), stream(device),
      settings(jobSettings(driver, VendorValues(papplJobGetPrinter(job), options).applyTo(options),
                           labelModeOf(papplJobGetPrinter(job))))
{
    printer.getOutputStreams().assign({stream.file()});
    printer.setCaptureDirectory(captureDirectory());
    printer.setStatusPolling(StatusPolling{kStatusPollLimit, kStatusPollInterval,
                                           std::make_shared<DeviceLink>(device, papplJobGetPrinter(job), job)});
}

bool KorvoJob::acceptPage(const cups_page_header2_t& pageHeader, const char* jobMedia, std::string* problem)
{
    header = pageHeader;
    nameSize(header, jobMedia);
    if (header.cupsBitsPerPixel != 8) {
        *problem = "the page has " + std::to_string(header.cupsBitsPerPixel) + " bits per pixel, not 8";
        return false;
    }
    *problem = pageHeaderProblem(header);
    if (!problem->empty()) {
        return false;
    }
    invertRows = header.cupsColorSpace == CUPS_CSPACE_SW || header.cupsColorSpace == CUPS_CSPACE_W;
    rowsReceived = 0;
    if (!page.reserve(static_cast<size_t>(header.cupsBytesPerLine) * header.cupsHeight)) {
        *problem = "no memory for the page";
        return false;
    }
    return true;
}
