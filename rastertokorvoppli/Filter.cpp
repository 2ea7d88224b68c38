// SPDX-License-Identifier: Apache-2.0
#include "Filter.h"

#include <cups/raster.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include "GeometryLog.h"
#include "Job.h"
#include "OndrelPrinter.h"
#include "Page.h"
#include "PageBuffer.h"
#include "PageHeader.h"
#include "RasterInput.h"
#include "Settings.h"
#include "SpoolerChannels.h"
#include "common/KorvoCancel.h"
#include "common/KorvoLog.h"
#include "common/KorvoString.h"
#include "pipeline/ImageCapture.h"

namespace {

const char* sVersion = "1.0.0";
OndrelPrinter* sPrinter = nullptr;

struct CFileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using CaptureFile = std::unique_ptr<FILE, CFileCloser>;

// Clears the global printer pointer before the printer itself goes.
struct PrinterRegistration {
    ~PrinterRegistration() { sPrinter = nullptr; }
};

// The spooler cancels a job with SIGTERM. The handler only marks the job
// cancelled; the page loop, the status wait, the halftoning and the image
// transfer stop at their next row, packet or poll. System calls restart, so
// that no write is cut short in the middle of a packet.
void terminalJob(int)
{
    korvoCancelJob();
}

void installCancelHandler()
{
    korvoCancelReset();
    struct sigaction action = {};
    action.sa_handler = terminalJob;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    // A backend that has gone shows as a write error, not as a silent end.
    signal(SIGPIPE, SIG_IGN);
}

// Blocks below 32 MiB come from the heap, so that the page's work block,
// which is never written, costs no mapping of its own; freed memory at the
// top of the heap still goes back to the system as usual.
void tuneHeap()
{
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
}

void printUsage(const char* argv0)
{
    const char* name = korvoPathGetBasename(argv0);
    fprintf(stderr, "%s v%s\n\nUsage:\n\n    %s job_id user title copyies options [file]\n\n", name, sVersion, name);
}

// True while everything written so far has reached the output.
bool outputIntact(FILE* output)
{
    if (fflush(output) == 0 && ferror(output) == 0) {
        return true;
    }
    fprintf(stderr, "ERROR: Unable to send the print data to the printer: %s\n", strerror(errno));
    return false;
}

enum class LoopEnd { Normal, Failed };

// Says why the stream gives no further page, when it is not its clean end:
// the data breaks off inside a page header, or the header is one libcups
// refuses (no lines, or lines that do not fit the width).
void warnAboutEnd(size_t headerBytesRead, int pageNumber)
{
    if (headerBytesRead >= sizeof(cups_page_header2_t)) {
        fprintf(stderr, "WARNING: Page %d has no valid page header; it and the pages after it are not printed.\n",
                pageNumber);
    } else if (headerBytesRead > 0) {
        fprintf(stderr, "WARNING: The raster data ends inside the header of page %d; it is not printed.\n", pageNumber);
    }
}

LoopEnd printPages(RasterInput& input, cups_raster_t* raster, OndrelPrinter& printer, Settings& settings,
                   const FilterEnvironment& environment)
{
    cups_page_header2_t header;
    PageBuffer page;
    int printedPages = 0;
    for (;;) {
        const size_t bytesBeforeHeader = input.bytesDelivered();
        if (raster == nullptr || cupsRasterReadHeader2(raster, &header) == 0) {
            if (!korvoJobCancelled()) {
                warnAboutEnd(input.bytesDelivered() - bytesBeforeHeader, printedPages + 1);
            }
            break;
        }
        if (header.cupsBitsPerPixel != 8) {
            korvoLogCommon(KORVO_LOG_ERROR, "Unsupported bits per pixel : %d ! Requires 8 bits per pixel!",
                           header.cupsBitsPerPixel);
            return LoopEnd::Failed;
        }
        if (header.cupsHeight == 0 || header.cupsBytesPerLine == 0) {
            return LoopEnd::Normal;
        }
        const std::string problem = pageHeaderProblem(header);
        if (!problem.empty()) {
            korvoLogCommon(KORVO_LOG_ERROR, "%s", problem.c_str());
            return LoopEnd::Failed;
        }
        writeGeometryLog(environment.geometryLogPath, header);
        startPage(printer, settings, header);
        beginPage(printer, settings, header, printedPages, environment.output);
        if (!readPage(raster, header, page)) {
            if (korvoJobCancelled()) {
                break;
            }
            fprintf(stderr, "WARNING: The raster data of page %d ends early; the page is not printed.\n",
                    printedPages + 1);
            continue;
        }
        printPage(printer, settings, header, page, printedPages + 1);
        if (korvoJobCancelled() || !outputIntact(environment.output)) {
            return LoopEnd::Failed;
        }
        ++printedPages;
    }
    return korvoJobCancelled() ? LoopEnd::Failed : LoopEnd::Normal;
}

// The printer writes to the environment's output and reaches the printer's
// status through its channels.
void applyEnvironment(OndrelPrinter& printer, const FilterEnvironment& environment)
{
    printer.getOutputStreams().assign({environment.output});
    printer.setCaptureDirectory(environment.captureDirectory);
    printer.setStatusPolling(
        StatusPolling{environment.statusPollLimit, environment.statusPollInterval,
                      std::make_shared<SpoolerChannels>(environment.backChannelFd, environment.sideChannelFd)});
}

}  // namespace

int runFilter(int argc, char* argv[], const FilterEnvironment& environment)
{
    installCancelHandler();
    // A job starts with no feed pending and its captures numbered from 0.
    bNeedGoBack = 0;
    page_index = 0;
    if (argc < 6) {
        printUsage(argv[0]);
        return 1;
    }
    tuneHeap();

    int fd = 0;
    if (argc > 6) {
        fd = open(argv[6], O_RDONLY | O_CLOEXEC);
        if (fd == -1) {
            fputs("ERROR: Unable to open raster file - ", stderr);
            return 1;
        }
    }

    auto printer = std::make_unique<OndrelPrinter>();
    sPrinter = printer.get();
    applyEnvironment(*printer, environment);
    CaptureFile capture;
    PrinterRegistration registration;
    RasterInput input(fd);

    Settings settings;
    memset(&settings, 0, sizeof(settings));
    parseSettings(&settings, argv[5]);
    if (settings.DataOutputPath[0] != 0) {
        capture.reset(fopen(settings.DataOutputPath, "w"));
        korvoLogCommon(KORVO_LOG_DEBUG, "Filter data output to: %s", settings.DataOutputPath);
        if (capture) {
            sPrinter->getOutputStreams().push_back(capture.get());
        }
    }
    if (settings.pageWidth <= 1.0f || settings.pageHeight <= 1.0f) {
        fprintf(stderr, "ERROR: Paper size must not less than 1.0 : (%f, %f)\n", settings.pageWidth,
                settings.pageHeight);
        return 1;
    }

    cups_raster_t* raster = input.open();
    if (raster == nullptr && input.bytesDelivered() > 0 && !korvoJobCancelled()) {
        fprintf(stderr, "WARNING: The input is not a CUPS raster stream; nothing is printed.\n");
    }
    if (printPages(input, raster, *sPrinter, settings, environment) == LoopEnd::Failed) {
        return 1;
    }
    jobEnd(sPrinter, &settings);
    if (!outputIntact(environment.output)) {
        return 1;
    }
    fprintf(stderr, "STATE: -media-empty-warning\n");
    return 0;
}
