// SPDX-License-Identifier: Apache-2.0
#include "RasterJob.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

#include "Job.h"
#include "KorvoJob.h"
#include "Page.h"
#include "common/KorvoCancel.h"

namespace {

KorvoJob* korvoJob(pappl_job_t* job)
{
    return static_cast<KorvoJob*>(papplJobGetData(job));
}

const KorvoDriver* driverOf(pappl_job_t* job)
{
    return findDriver(papplPrinterGetDriverName(papplJobGetPrinter(job)));
}

// Ends the job's processing here: the reason in the job's message and log.
bool fail(pappl_job_t* job, const std::string& reason)
{
    papplJobSetMessage(job, "%s", reason.c_str());
    papplLogJob(job, PAPPL_LOGLEVEL_ERROR, "%s", reason.c_str());
    return false;
}

void finish(pappl_job_t* job)
{
    delete korvoJob(job);
    papplJobSetData(job, nullptr);
}

}  // namespace

bool korvoStartJob(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device)
{
    const KorvoDriver* driver = driverOf(job);
    if (driver == nullptr) {
        return fail(job, "The printer's driver is not a Korvo driver.");
    }
    auto korvo = std::make_unique<KorvoJob>(job, *driver, *options, device);
    if (!korvo->turn.owns()) {
        return false;  // cancelled while another printer printed
    }
    papplJobSetData(job, korvo.release());
    return true;
}

bool korvoStartPage(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t*, unsigned)
{
    KorvoJob* korvo = korvoJob(job);
    if (korvo == nullptr) {
        return false;  // the job ended before it started (cancelled while it waited)
    }
    std::string problem;
    if (!korvo->acceptPage(options->header, options->media.size_name, &problem)) {
        return fail(job, "Unable to print page " + std::to_string(korvo->printedPages + 1) + ": " + problem + ".");
    }
    startPage(korvo->printer, korvo->settings, korvo->header);
    beginPage(korvo->printer, korvo->settings, korvo->header, korvo->printedPages, korvo->stream.file());
    korvo->pageOpen = true;
    return !korvoJobCancelled();
}

bool korvoWriteLine(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*, unsigned y, const unsigned char* line)
{
    KorvoJob* korvo = korvoJob(job);
    if (korvo == nullptr || !korvo->pageOpen) {
        return false;
    }
    if (y >= korvo->header.cupsHeight) {
        return true;
    }
    const size_t bytes = korvo->header.cupsBytesPerLine;
    unsigned char* row = korvo->page.data() + bytes * y;
    if (korvo->invertRows) {
        for (size_t x = 0; x < bytes; ++x) {
            row[x] = static_cast<unsigned char>(255 - line[x]);
        }
    } else {
        memcpy(row, line, bytes);
    }
    ++korvo->rowsReceived;
    return !korvoJobCancelled();
}

bool korvoEndPage(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*, unsigned)
{
    KorvoJob* korvo = korvoJob(job);
    if (korvo == nullptr || !korvo->pageOpen) {
        return false;
    }
    korvo->pageOpen = false;
    if (korvo->rowsReceived < korvo->header.cupsHeight) {
        return fail(job, "The raster data of page " + std::to_string(korvo->printedPages + 1) +
                             " ends early; the page is not printed.");
    }
    printPage(korvo->printer, korvo->settings, korvo->header, korvo->page, korvo->printedPages + 1);
    if (korvoJobCancelled()) {
        return false;
    }
    if (!korvo->stream.intact()) {
        return fail(job, "Unable to send the print data to the printer.");
    }
    ++korvo->printedPages;
    return true;
}

bool korvoEndJob(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t*)
{
    KorvoJob* korvo = korvoJob(job);
    if (korvo == nullptr) {
        return false;
    }
    const bool cancelled = korvoJobCancelled();
    if (!cancelled) {
        jobEnd(&korvo->printer, &korvo->settings);
    }
    const bool intact = korvo->stream.intact();
    finish(job);
    return !cancelled && (intact || fail(job, "Unable to send the print data to the printer."));
}

bool korvoPrintStream(pappl_job_t* job, pappl_pr_options_t*, pappl_device_t* device)
{
    const int fd = open(papplJobGetFilename(job), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return fail(job, "Unable to open the document.");
    }
    unsigned char buffer[65536];
    ssize_t count = 0;
    while (!papplJobIsCanceled(job) && (count = read(fd, buffer, sizeof(buffer))) > 0 &&
           papplDeviceWrite(device, buffer, static_cast<size_t>(count)) == count) {
    }
    close(fd);
    return count == 0 || fail(job, "Unable to send the document to the printer.");
}
