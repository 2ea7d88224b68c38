// SPDX-License-Identifier: Apache-2.0
#include "PrintedPages.h"

#include <gtest/gtest.h>

namespace korvotest {

namespace {

const char* const kTypeNames[] = {"None",   "FloydSteinberg", "Ordered", "Burkes",   "Stucki", "JarvisJudiceNinke",
                                  "Sierra", "StevensonArce",  "Tattoo",  "Tattoo_Q6"};

pageref::PageInput pageInput(const RasterPage& page)
{
    pageref::PageInput input;
    input.pixels = page.pixels;
    input.width = page.header.cupsWidth;
    input.height = page.header.cupsHeight;
    input.bytesPerLine = page.header.cupsBytesPerLine;
    input.resolution = page.header.HWResolution[0];
    input.pageSizeName = page.header.cupsPageSizeName;
    return input;
}

// The sizes of the image-row packets after the print area at that offset:
// four rows each, the last one the rest.
std::vector<size_t> packetSizes(const korvostream::Stream& stream, size_t areaOffsetInStream)
{
    std::vector<size_t> sizes;
    bool inImage = false;
    for (const korvostream::Item& item : stream.items) {
        if (item.offset == areaOffsetInStream) {
            inImage = true;
        } else if (inImage && item.is(korvostream::Command::ImageRows)) {
            sizes.push_back(item.payload.size());
        } else if (inImage) {
            break;
        }
    }
    return sizes;
}

::testing::AssertionResult samePage(const korvostream::Page& actual, const std::vector<size_t>& sizes,
                                    const pageref::Printed& expected)
{
    if (actual.areaOffset != expected.areaOffset || actual.areaWidth != expected.areaWidth ||
        actual.rowBytes != expected.rowBytes || actual.rows != expected.rows) {
        return ::testing::AssertionFailure()
               << "area offset/width, row bytes, rows: " << actual.areaOffset << "/" << actual.areaWidth << ", "
               << actual.rowBytes << ", " << actual.rows << " expected " << expected.areaOffset << "/"
               << expected.areaWidth << ", " << expected.rowBytes << ", " << expected.rows;
    }
    for (size_t i = 0; i < sizes.size(); ++i) {
        const size_t rows = i + 1 < sizes.size() ? 4 : (expected.rows % 4 == 0 ? 4 : expected.rows % 4);
        if (sizes[i] != rows * expected.rowBytes) {
            return ::testing::AssertionFailure() << "packet " << i << " holds " << sizes[i] << " bytes";
        }
    }
    if (actual.packed != expected.packed) {
        for (size_t y = 0; y < expected.rows; ++y) {
            for (size_t x = 0; x < expected.rowBytes * 8; ++x) {
                if (actual.dot(x, y) != expected.dot(x, y)) {
                    return ::testing::AssertionFailure() << "dot (" << x << ", " << y << ") is " << actual.dot(x, y);
                }
            }
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace

std::string optionsFor(const pageref::JobSettings& s)
{
    std::string options =
        std::string("HalftoneType=") + kTypeNames[s.halftoneType] + " Brightness=" + std::to_string(s.brightness) +
        " Contrast=" + std::to_string(s.contrast) + " Origin=" + (s.rotate180 ? "Rotation180" : "Normal") +
        " MirrorImage=" + (s.mirror ? "True" : "False") + " NegativeImage=" + (s.negative ? "True" : "False");
    if (s.antiWrinkle >= 0) {
        options += " AntiWrinkle=" + std::to_string(s.antiWrinkle);
    }
    return options;
}

std::vector<korvostream::Page> printAndCompare(Job job, const pageref::JobSettings& settings)
{
    job.options = (job.options.empty() ? "" : job.options + " ") + optionsFor(settings);
    const FilterResult result = print(job);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    const korvostream::Stream stream = korvostream::parseStream(result.out);
    EXPECT_TRUE(stream.errors.empty());
    const std::vector<korvostream::Page> printed = korvostream::collectPages(stream);
    EXPECT_EQ(printed.size(), job.pages.size()) << job.options;
    for (size_t i = 0; i < printed.size() && i < job.pages.size(); ++i) {
        const pageref::ProcessedPage expected = pageref::processPage(pageInput(job.pages[i]), settings);
        EXPECT_TRUE(samePage(printed[i], packetSizes(stream, printed[i].offset), expected.printed))
            << "page " << i + 1 << " of a job with " << job.options;
    }
    return printed;
}

}  // namespace korvotest
