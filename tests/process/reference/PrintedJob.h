// Shared helpers of the printed-page tests: running a job through the test
// build of the filter with the captures in a temporary directory, reading
// the image packets back out of its output and comparing them dot by dot
// with the reference model.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "FilterProcess.h"
#include "PageReference.h"
#include "RasterFile.h"

namespace printedjob {

// One image as the printer receives it: the print-area packet and the
// image-row packets that follow it.
struct SentImage {
    unsigned areaOffset = 0;
    unsigned areaWidth = 0;
    std::vector<size_t> packetSizes;
    std::vector<uint8_t> packed;  // the row payloads one after the other
};

// Every print area of the stream with its row packets, in order. A framing
// error or a malformed print-area packet is added to problems.
std::vector<SentImage> sentImages(const std::vector<uint8_t>& out, std::string* problems);
// The same, failing the current test on a packet problem.
std::vector<SentImage> sentImagesOrFail(const korvotest::FilterResult& result);

// Compares one sent image with the reference: area offset and width, packet
// sizes (thus row bytes and rows) and every dot; names the first wrong dot.
::testing::AssertionResult sameImage(const SentImage& actual, const pageref::Printed& expected);

// The reference input of a raster page.
pageref::PageInput pageInput(const korvotest::RasterPage& page);

// A page of the given size, resolution and page size name.
korvotest::RasterPage page(unsigned width, unsigned height, unsigned dpi, const std::string& sizeName,
                           const std::function<uint8_t(unsigned x, unsigned y)>& shade);

// Image content generators, all deterministic.
// A cheap, well-mixed hash of the seed and the position.
uint32_t mix(uint32_t seed, unsigned x, unsigned y);
std::function<uint8_t(unsigned, unsigned)> randomShade(uint32_t seed);
std::function<uint8_t(unsigned, unsigned)> gradientShade(unsigned width, unsigned height);
std::function<uint8_t(unsigned, unsigned)> photoShade(uint32_t seed);
// Levels close to the threshold (127 .. 130) mixed with 0 and 255.
std::function<uint8_t(unsigned, unsigned)> edgeShade(uint32_t seed);
std::function<uint8_t(unsigned, unsigned)> shadeByIndex(size_t index, unsigned width, unsigned height);

// Writes the raster and runs the test build of the filter on it, with the
// captures in captureDir.
korvotest::FilterResult runJob(const korvotest::TempDir& dir, const std::string& ppd,
                               const std::vector<korvotest::RasterPage>& pages, const std::string& options,
                               const std::string& captureDir);

// The standard error lines between "INFO: page n" and the next page's line,
// keeping those that start with one of the prefixes; index 0 is page 1.
std::vector<std::vector<std::string>> linesByPage(const std::string& err,
                                                  const std::vector<std::string>& prefixes);

// Checks that every page printed as the reference says.
void expectPagesAsReference(const korvotest::FilterResult& result, const std::vector<korvotest::RasterPage>& pages,
                            const pageref::JobSettings& settings);

}  // namespace printedjob
