// SPDX-License-Identifier: Apache-2.0
// KorvoPrinter: the abstract printer of the SDK layer.
//
// Holds the job's image settings, the two page images the pipeline works on,
// and the list of output streams every printer byte is written to (stdout
// first). A concrete printer supplies doPrintImage, which turns one processed
// page into its own command packets.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <list>
#include <memory>
#include <string>

#include "common/DitherType.h"
#include "common/PageMemory.h"
#include "dibimage/DibImage.h"
#include "printer/PageRows.h"

class KorvoPrinter {
public:
    class UserData;

    KorvoPrinter();
    virtual ~KorvoPrinter();
    KorvoPrinter(const KorvoPrinter&) = delete;
    KorvoPrinter& operator=(const KorvoPrinter&) = delete;

    // Job settings. Brightness and contrast clamp to -100..100, density to
    // 0..15, speed (given as text) to 1..15; the others store as given.
    KorvoPrinter* SetPrintWidth(long width);
    long GetPrintWidth() const { return printWidth_; }
    void setPageHeader(cups_page_header2_s* header) { pageHdr_ = header; }
    cups_page_header2_s* getPageHeader() const { return pageHdr_; }
    void setAntiWrinkle(int level) { antiWrinkle_ = level; }
    int getAntiWrinkle() const { return antiWrinkle_; }
    void setUseHalvDithering(bool use) { useHalvDithering_ = use; }
    bool getUseHalvDithering() const { return useHalvDithering_; }
    void setMaxMediaWidth(int width) { maxMediaWidth_ = width; }
    int getMaxMediaWidth() const { return maxMediaWidth_; }
    void setVBarcodeOpt(int option) { vBarcodeOpt_ = option; }
    int getVBarcodeOpt() const { return vBarcodeOpt_; }
    void setBrightness(int brightness);
    int getBrightness() const { return brightness_; }
    void setContrast(int contrast);
    int getContrast() const { return contrast_; }
    void setPrintSpeed(const char* speed);
    int getPrintSpeed() const { return printSpeed_; }
    void setPrintDensity(int density);
    int getPrintDensity() const { return printDensity_; }
    void setHalftoneType(DitherType type) { halftoneType_ = type; }
    DitherType getHalftoneType() const { return halftoneType_; }
    void setNegativePrint(bool negative) { negativePrint_ = negative; }
    bool isNegativePrint() const { return negativePrint_; }
    void setRotate180Print(bool rotate) { rotate180Print_ = rotate; }
    bool isRotate180Print() const { return rotate180Print_; }
    void setMirrorPrint(bool mirror) { mirrorPrint_ = mirror; }
    bool isMirrorPrint() const { return mirrorPrint_; }
    void setRemoveBlankEdges(unsigned char mask) { removeBlankEdges_ = mask; }
    unsigned char getRemoveBlankEdges() const { return removeBlankEdges_; }
    void setSkipRightPixels(unsigned long pixels) { skipRightPixels_ = pixels; }
    unsigned long getSkipRightPixels() const { return skipRightPixels_; }
    void setUserData(UserData* data) { userData_ = data; }
    UserData* getUserData() const { return userData_; }

    // Every printer byte goes to each listed stream in order. The streams
    // are not owned.
    std::list<FILE*>& getOutputStreams() { return outputStreams_; }
    void printBytes(const unsigned char* buf, size_t size);
    void printStr(const char* s);
    void printByte(unsigned char c);
    int printFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Page pipeline: one call per raster page of 8-bit gray rows.
    void printImage(const unsigned char* rows, size_t bytesPerLine, size_t height, size_t width);
    // Processes the page into pimage and copies the result into out, in the
    // printer's byte convention, never more than outCapacity bytes (the
    // tattoo types work on a copy of the page there first). Returns the
    // processed image's size in bytes.
    int PageProcess(DitherType type, const unsigned char* rows, int32_t stride, int32_t width, int32_t height,
                    unsigned char* out, size_t outCapacity = SIZE_MAX);
    void EnableAntiWrink(DibImage& image);
    // The memory of the rows the next printImage calls are given, which
    // PageProcess may take over or have given back as it copies them (not
    // owned; null when the rows are only to be read).
    void setPageRows(PageRows* rows) { pageRows_ = rows; }
    void saveImage(const unsigned char* data, unsigned long bytesPerLine, unsigned long height, unsigned long width,
                   unsigned short bitsPerPixel);

    // Packs 8-bit rows (non-zero = dot) to 1 bit per pixel in place, MSB
    // first; returns the number of packed bytes.
    int GrayToMono(int bytesPerLine, int height, unsigned char* data);

    // The directory the page captures are written to; the shipped program
    // keeps the spooler's temporary directory.
    void setCaptureDirectory(const std::string& directory) { captureDirectory_ = directory; }

    // Set directly by the front end for every page.
    uint32_t resolution = 300;  // dots per inch, as the page header carries it
    const char* modelName = nullptr;

protected:
    virtual void doPrintImage(const unsigned char* data, size_t bytesPerLine, size_t height, size_t width) = 0;

    DibImage pageImage_;
    DibImage halftoneImage_;
    DibImage* pimage = nullptr;

private:
    void copyPixels(DibImage& image, unsigned char* out, int32_t width, int32_t height, int32_t stride);
    void copyProcessedPixels(DibImage* image, unsigned char* out, int32_t width, int32_t height, int32_t stride,
                             size_t outCapacity);
    bool loadPage(const unsigned char* rows, int32_t stride, int32_t width, int32_t height);
    bool halftoneWithTattooToolkit(DitherType type, int32_t stride, int32_t width, int32_t height, unsigned char* out);
    void logProcessedImage(const unsigned char* result, size_t bytesPerLine, size_t height, size_t width, size_t top,
                           size_t bottom);
    void printProcessedImage();
    unsigned char* acquireResult(size_t bytes);
    void keepResult(unsigned char* result, size_t bytes);
    // The capture file name pattern, taken in the capture directory.
    void setCaptureTemplate(const char* fileNamePattern);

    char capturePathTemplate_[1024];
    std::string captureDirectory_ = "/var/spool/cups/tmp";
    std::list<FILE*> outputStreams_;
    PageRows* pageRows_ = nullptr;
    // The last page's result block, for the next page of the same size.
    std::unique_ptr<unsigned char, PageMemoryRelease> keptResult_;
    size_t keptResultBytes_ = 0;
    cups_page_header2_s* pageHdr_ = nullptr;
    int maxMediaWidth_ = 0;
    long printWidth_ = 0;
    int brightness_ = 0;
    int vBarcodeOpt_ = 0;
    int contrast_ = 0;
    int printSpeed_ = 7;
    int printDensity_ = 8;
    DitherType halftoneType_ = DITHER_NONE;
    bool negativePrint_ = false;
    bool mirrorPrint_ = false;
    bool rotate180Print_ = false;
    int antiWrinkle_ = 0;
    bool useHalvDithering_ = false;
    unsigned char removeBlankEdges_ = 0;
    unsigned long skipRightPixels_ = 0;
    UserData* userData_ = nullptr;
};
