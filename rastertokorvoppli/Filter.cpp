// SPDX-License-Identifier: Apache-2.0
#include "Filter.h"

#include <cups/raster.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "Job.h"
#include "OndrelPrinter.h"
#include "PageHeader.h"
#include "Settings.h"
#include "common/KorvoLog.h"
#include "common/KorvoString.h"
#include "pipeline/ImageCapture.h"

namespace {

const char* sVersion = "1.0.0";
OndrelPrinter* sPrinter = nullptr;

constexpr int kLeadingNulBytes = 64;

struct CFileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using CaptureFile = std::unique_ptr<FILE, CFileCloser>;

// The raster input: a file's descriptor is closed at the end, standard
// input never.
class InputDescriptor {
public:
    explicit InputDescriptor(int fd) : fd_(fd) {}
    ~InputDescriptor()
    {
        if (fd_ != 0) {
            close(fd_);
        }
    }
    InputDescriptor(const InputDescriptor&) = delete;
    InputDescriptor& operator=(const InputDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

struct RasterCloser {
    void operator()(cups_raster_t* raster) const { cupsRasterClose(raster); }
};
using RasterStream = std::unique_ptr<cups_raster_t, RasterCloser>;

// Clears the global printer pointer before the printer itself goes.
struct PrinterRegistration {
    ~PrinterRegistration() { sPrinter = nullptr; }
};

void terminalJob(int)
{
    exit(1);
}

// Keep freed page-sized blocks in the heap so that the next page reuses
// memory that is already mapped instead of faulting in fresh pages.
void keepPageBuffersMapped()
{
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
}

void printUsage(const char* argv0)
{
    const char* name = korvoPathGetBasename(argv0);
    fprintf(stderr, "%s v%s\n\nUsage:\n\n    %s job_id user title copyies options [file]\n\n", name, sVersion, name);
}

void writeGeometryLog(const std::string& path, const cups_page_header2_t& header)
{
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        return;
    }
    FILE* log = fdopen(fd, "w+");
    if (log == nullptr) {
        close(fd);
        return;
    }
    fprintf(log, "cupsWidth:%d, cupsHeight:%d, cupsBytesPerLine:%d, cupsBitsPerPixel:%d\n", header.cupsWidth,
            header.cupsHeight, header.cupsBytesPerLine, header.cupsBitsPerPixel);
    fclose(log);
}

void logPageHeader(int page, const cups_page_header2_t& header)
{
    korvoLogCommon(KORVO_LOG_DEBUG, "PAGE: %d %d\n", page, header.NumCopies);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.HWResolution[0]:%d\n", header.HWResolution[0]);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.HWResolution[1]:%d", header.HWResolution[1]);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsWidth:%d", header.cupsWidth);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsHeight:%d", header.cupsHeight);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsMediaType:%d", header.cupsMediaType);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsBitsPerColor:%d", header.cupsBitsPerColor);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsBitsPerPixel:%d", header.cupsBitsPerPixel);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsBytesPerLine:%d", header.cupsBytesPerLine);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsColorOrder:%d", header.cupsColorOrder);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsColorSpace:%d", header.cupsColorSpace);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsCompression:%d", header.cupsCompression);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsRowCount:%d", header.cupsRowCount);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsRowFeed:%d", header.cupsRowFeed);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsRowStep:%d", header.cupsRowStep);
}

// Page geometry from the raster, and every job setting, into the printer.
void startPage(OndrelPrinter& printer, Settings& settings, cups_page_header2_t& header)
{
    settings.pageWidth = static_cast<float>(header.cupsWidth * 25.4 / header.HWResolution[0]);
    settings.pageHeight = static_cast<float>(header.cupsHeight * 25.4 / header.HWResolution[1]);
    korvoLogCommon(KORVO_LOG_DEBUG, "pageWidth: %f,pageHeight: %f", settings.pageWidth, settings.pageHeight);

    printer.resolution = static_cast<int32_t>(header.HWResolution[0]);
    printer.modelName = settings.ModelName;
    printer.setAntiWrinkle(settings.AntiWrinkle);
    printer.setPageHeader(&header);
    printer.setBrightness(settings.Brightness);
    printer.setContrast(settings.Contrast);
    printer.setPrintSpeed(settings.PrintSpeed);
    printer.setPrintDensity(settings.Darkness);
    printer.setHalftoneType(settings.halftoneType);
    printer.setMirrorPrint(settings.MirrorImage != 0);
    printer.setNegativePrint(settings.NegativeImage != 0);
    printer.setRotate180Print(settings.Rotate180 != 0);
    printer.tattooPrinter = settings.IsTattooPrinter;
}

// The page buffer holds one zeroed line after the page: the blank-line
// count of the pipeline looks one line past the page.
bool resizePageBuffer(std::vector<unsigned char>& buffer, size_t pageSize, size_t bytesPerLine)
{
    try {
        buffer.resize(pageSize + bytesPerLine);
    } catch (const std::bad_alloc&) {
        return false;
    }
    memset(buffer.data() + pageSize, 0, bytesPerLine);
    return true;
}

// Prints one page whose pixels are in the buffer.
void printPage(OndrelPrinter& printer, const Settings& settings, const cups_page_header2_t& header,
               const unsigned char* pixels, int pageNumber)
{
    printer.WaitForPrinterStatus(kStatusReady);
    fprintf(stderr, "INFO: page %d\n", pageNumber);
    printer.PrintControl(0);
    if (bNeedGoBack != 0 || strcmp(settings.PaperType, "LabelMark") == 0) {
        printer.FeedPaper(4, 0);
    }
    printer.printImage(pixels, header.cupsBytesPerLine, header.cupsHeight, header.cupsWidth);
    pageEndMediaAction(&printer, &settings);
    printer.PrintControl(1);
    printer.WaitForPrinterStatus(kStatusPaperOut);
    // Page accounting and job progress for the spooler.
    fprintf(stderr, "PAGE: %d 1\n", pageNumber);
    fprintf(stderr, "ATTR: job-impressions-completed=%d\n", pageNumber);
}

enum class LoopEnd { Normal, Failed };

LoopEnd printPages(cups_raster_t* raster, OndrelPrinter& printer, Settings& settings,
                   const FilterEnvironment& environment)
{
    cups_page_header2_t header;
    std::vector<unsigned char> page;
    int printedPages = 0;
    while (raster != nullptr && cupsRasterReadHeader2(raster, &header) != 0) {
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
        const uint32_t pageSize = static_cast<uint32_t>(pageBytes(header));
        writeGeometryLog(environment.geometryLogPath, header);
        if (!resizePageBuffer(page, pageSize, header.cupsBytesPerLine)) {
            return LoopEnd::Failed;
        }
        startPage(printer, settings, header);
        for (int i = 0; i < kLeadingNulBytes; ++i) {
            putc(0, environment.output);
        }
        jobSetup(&printer, &settings);
        logPageHeader(printedPages, header);
        if (cupsRasterReadPixels(raster, page.data(), pageSize) == 0) {
            continue;
        }
        printPage(printer, settings, header, page.data(), printedPages + 1);
        ++printedPages;
    }
    return LoopEnd::Normal;
}

// The printer writes to the environment's output and reaches the printer's
// status through its channels.
void applyEnvironment(OndrelPrinter& printer, const FilterEnvironment& environment)
{
    printer.getOutputStreams().assign({environment.output});
    printer.setCaptureDirectory(environment.captureDirectory);
    printer.setStatusPolling(StatusPolling{environment.statusPollLimit, environment.statusPollInterval,
                                           SpoolerChannels(environment.backChannelFd, environment.sideChannelFd)});
}

}  // namespace

int runFilter(int argc, char* argv[], const FilterEnvironment& environment)
{
    signal(SIGTERM, terminalJob);
    // A job starts with no feed pending and its captures numbered from 0.
    bNeedGoBack = 0;
    page_index = 0;
    if (argc < 6) {
        printUsage(argv[0]);
        return 1;
    }
    keepPageBuffersMapped();

    int fd = 0;
    if (argc > 6) {
        fd = open(argv[6], O_RDONLY);
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
    InputDescriptor input(fd);

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

    RasterStream raster(cupsRasterOpen(input.get(), CUPS_RASTER_READ));
    if (printPages(raster.get(), *sPrinter, settings, environment) == LoopEnd::Failed) {
        return 1;
    }
    jobEnd(sPrinter, &settings);
    fprintf(stderr, "STATE: -media-empty-warning\n");
    return 0;
}
