// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

#include "common/KorvoCancel.h"
#include "common/KorvoLog.h"
#include "common/PageMemory.h"
#include "pipeline/BlankLines.h"
#include "pipeline/CaptureWriteback.h"
#include "printer/KorvoPrinter.h"

namespace {

// The blank edges measured for the log; they never change what is printed.
struct BlankEdges {
    size_t top = 0;
    size_t bottom = 0;
};

constexpr unsigned char kMeasureBottom = 0x08;
constexpr unsigned char kMeasureTop = 0x02;

// The next page's 1-bit halftone, which it makes before it writes the result
// block again, takes an eighth of a page: that share of the result block
// goes back to the system after each page.
constexpr size_t kHalftoneShareOfPage = 8;

}  // namespace

void KorvoPrinter::printImage(const unsigned char* rows, size_t bytesPerLine, size_t height, size_t width)
{
    korvoLogCommon(KORVO_LOG_DEBUG,
                   "printImage: Start processing image, input width: %zu, height: %zu, bytes per line: %zu", width,
                   height, bytesPerLine);
    const size_t size = bytesPerLine * height;
    // The work block is never used; failing to get it skips the page.
    void* workBlock = malloc(size);
    unsigned char* result = nullptr;
    if (workBlock == nullptr) {
        korvoLogCommon(KORVO_LOG_ERROR,
                       "printImage: Memory allocation failed, unable to process image, exiting processing");
    } else {
        korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Memory allocated successfully, size: %zu bytes", size);
        BlankEdges edges;
        const unsigned char mask = getRemoveBlankEdges();
        if (mask != 0) {
            if (mask & kMeasureBottom) {
                edges.bottom =
                    korvoImageCountBlankLinesFromBack(rows, bytesPerLine, height, getSkipRightPixels(), width);
                korvoLogCommon(KORVO_LOG_DEBUG,
                               "printImage: Removal of bottom blank edges detected, number of bottom blank lines: %zu",
                               edges.bottom);
            }
            if (mask & kMeasureTop) {
                edges.top = korvoImageCountBlankLinesFromFront(rows, bytesPerLine, height, getSkipRightPixels(), width);
                korvoLogCommon(KORVO_LOG_DEBUG,
                               "printImage: Removal of top blank edges detected, number of top blank lines: %zu",
                               edges.top);
            }
        }

        captureWriteback().nextPage();
        setCaptureTemplate("origin_%d-%d-%d_%d_%d_%d_%ld.bmp");
        korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Saving original image, file path will be generated based on time");
        saveImage(rows, bytesPerLine, height, width, 8);

        const size_t resultSize = 2 * size;
        result = acquireResult(resultSize);
        if (result == nullptr) {
            korvoLogCommon(KORVO_LOG_ERROR,
                           "printImage: Memory allocation for processing result failed, unable to continue processing");
        } else {
            korvoLogCommon(KORVO_LOG_DEBUG,
                           "printImage: Memory for processing result allocated successfully, size: %zu bytes", size);
            PageProcess(getHalftoneType(), rows, static_cast<int32_t>(bytesPerLine), static_cast<int32_t>(width),
                        static_cast<int32_t>(height), result, resultSize);
            logProcessedImage(result, bytesPerLine, height, width, edges.top, edges.bottom);
            if (resultSize >= kPageMemoryMinimum) {
                pageMemoryDiscardFrom(result, size - size / kHalftoneShareOfPage, resultSize);
            }
            if (!korvoJobCancelled()) {
                printProcessedImage();
            }
        }
    }

    if (workBlock != nullptr) {
        free(workBlock);
        workBlock = nullptr;
        korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Freed the allocated memory, address: %p", workBlock);
    }
    if (result != nullptr) {
        korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Freed the memory for processing result, address: %p",
                       static_cast<void*>(result));
        keepResult(result, 2 * size);
    }
    // The page is printed: the memory of its images serves the next page,
    // and nothing of it can be printed again.
    pageImage_.Destroy();
    halftoneImage_.Destroy();
    pimage = nullptr;
    korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Image processing completed");
}

// The result block: page memory when it is page-sized, committed only where
// it is written (the page, usually its first half), with huge pages. Nothing
// reads it after it has been logged, and it is kept from page to page: memory
// written once costs less than fresh memory. Of what a page wrote, all but
// what the next page needs before it writes the block again goes back after
// logging, so that a job never holds more than its first page did.
unsigned char* KorvoPrinter::acquireResult(size_t bytes)
{
    if (bytes < kPageMemoryMinimum) {
        return static_cast<unsigned char*>(malloc(bytes));
    }
    if (keptResult_ != nullptr && keptResultBytes_ == bytes) {
        return keptResult_.release();
    }
    keptResult_.reset();
    return static_cast<unsigned char*>(pageMemoryAcquire(bytes, false, bytes / 2));
}

void KorvoPrinter::keepResult(unsigned char* result, size_t bytes)
{
    if (bytes < kPageMemoryMinimum) {
        free(result);
        return;
    }
    keptResult_.reset(result);
    keptResultBytes_ = bytes;
}

// The trimmed height and offset are reported only; the whole processed
// image is printed.
void KorvoPrinter::logProcessedImage(const unsigned char* result, size_t bytesPerLine, size_t height, size_t width,
                                     size_t top, size_t bottom)
{
    const unsigned char* trimmed = result;
    size_t adjustedHeight = height;
    if (bottom > top) {
        adjustedHeight = bottom - top;
        trimmed = result + top * bytesPerLine;
        korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Adjusted image height to %zu, pointer offset by %zu bytes",
                       adjustedHeight, top * bytesPerLine);
    }
    // The values after "width:" and "bytes per line:" appear swapped in this
    // line; diagnosis scripts read it as it is.
    korvoLogCommon(KORVO_LOG_DEBUG,
                   "printImage: Processed image information - pointer address: %lu, width: %zu, height: %zu, bytes "
                   "per line: %zu, number of top blank lines: %zu, number of bottom blank lines: %zu, adjusted "
                   "height: %zu",
                   reinterpret_cast<unsigned long>(trimmed), bytesPerLine, height, width, top, bottom, adjustedHeight);
}

void KorvoPrinter::printProcessedImage()
{
    setCaptureTemplate("dithered_%d-%d-%d_%d_%d_%d_%ld.bmp");
    korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Saving processed image, file path will be generated based on time");
    if (pimage != nullptr) {
        saveImage(pimage->GetBits(0), pimage->GetEffWidth(), static_cast<int32_t>(pimage->GetHeight()),
                  static_cast<int32_t>(pimage->GetWidth()), 8);
    }
    korvoLogCommon(KORVO_LOG_DEBUG, "printImage: Starting to print the processed image");
    if (pimage == nullptr) {
        korvoLogCommon(KORVO_LOG_ERROR, "printImage: pimage is NULL, unable to print the image");
        return;
    }
    doPrintImage(pimage->GetBits(0), pimage->GetEffWidth(), pimage->GetHeight(), pimage->GetWidth());
}
