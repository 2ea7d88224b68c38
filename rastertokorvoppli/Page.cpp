// SPDX-License-Identifier: Apache-2.0
#include "Page.h"

#include <cstring>

#include "Job.h"
#include "common/KorvoCancel.h"
#include "common/KorvoLog.h"

namespace {

constexpr int kLeadingNulBytes = 64;

// An enumeration field of the header as the number the stream carried:
// any 32-bit value can arrive, not only the enumeration's own.
template <typename Field>
unsigned rawValue(const Field& field)
{
    static_assert(sizeof(Field) == sizeof(unsigned));
    unsigned value;
    memcpy(&value, &field, sizeof(value));
    return value;
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
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsColorOrder:%d", rawValue(header.cupsColorOrder));
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsColorSpace:%d", rawValue(header.cupsColorSpace));
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsCompression:%d", header.cupsCompression);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsRowCount:%d", header.cupsRowCount);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsRowFeed:%d", header.cupsRowFeed);
    korvoLogCommon(KORVO_LOG_DEBUG, "header.cupsRowStep:%d", header.cupsRowStep);
}

}  // namespace

void startPage(OndrelPrinter& printer, Settings& settings, cups_page_header2_t& header)
{
    settings.pageWidth = static_cast<float>(header.cupsWidth * 25.4 / header.HWResolution[0]);
    settings.pageHeight = static_cast<float>(header.cupsHeight * 25.4 / header.HWResolution[1]);
    korvoLogCommon(KORVO_LOG_DEBUG, "pageWidth: %f,pageHeight: %f", settings.pageWidth, settings.pageHeight);

    printer.resolution = header.HWResolution[0];
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

void beginPage(OndrelPrinter& printer, Settings& settings, const cups_page_header2_t& header, int pageCounter,
               FILE* output)
{
    for (int i = 0; i < kLeadingNulBytes; ++i) {
        putc(0, output);
    }
    jobSetup(&printer, &settings);
    logPageHeader(pageCounter, header);
}

bool readPage(cups_raster_t* raster, const cups_page_header2_t& header, PageBuffer& page)
{
    const size_t bytesPerLine = header.cupsBytesPerLine;
    if (!page.reserve(bytesPerLine * header.cupsHeight)) {
        return false;
    }
    unsigned char* row = page.data();
    for (unsigned y = 0; y < header.cupsHeight; ++y, row += bytesPerLine) {
        if (cupsRasterReadPixels(raster, row, header.cupsBytesPerLine) == 0) {
            return false;
        }
    }
    return true;
}

void printPage(OndrelPrinter& printer, const Settings& settings, const cups_page_header2_t& header, PageBuffer& page,
               int pageNumber)
{
    printer.WaitForPrinterStatus(kStatusReady);
    if (korvoJobCancelled()) {
        return;
    }
    fprintf(stderr, "INFO: page %d\n", pageNumber);
    printer.PrintControl(0);
    if (bNeedGoBack != 0 || strcmp(settings.PaperType, "LabelMark") == 0) {
        printer.FeedPaper(4, 0);
    }
    printer.setPageRows(&page);
    printer.printImage(page.data(), header.cupsBytesPerLine, header.cupsHeight, header.cupsWidth);
    printer.setPageRows(nullptr);
    if (korvoJobCancelled()) {
        return;
    }
    pageEndMediaAction(&printer, &settings);
    printer.PrintControl(1);
    printer.WaitForPrinterStatus(kStatusPaperOut);
    // Page accounting and job progress for the spooler.
    fprintf(stderr, "PAGE: %d 1\n", pageNumber);
    fprintf(stderr, "ATTR: job-impressions-completed=%d\n", pageNumber);
}
