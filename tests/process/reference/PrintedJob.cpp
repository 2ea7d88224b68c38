#include "PrintedJob.h"

#include <gtest/gtest.h>

#include "StreamWords.h"
#include "korvostream/KorvoStream.h"

using namespace korvotest;

namespace printedjob {

namespace {

const char* const kTypeNames[] = {"None",   "FloydSteinberg", "Ordered",       "Burkes", "Stucki",
                                  "JarvisJudiceNinke", "Sierra", "StevensonArce", "Tattoo", "Tattoo_Q6"};

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

// The image-row packets carry four rows each, the last one the rest.
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
    for (size_t y = 0; y < expected.rows; ++y) {
        for (size_t x = 0; x < expected.rowBytes * 8; ++x) {
            if (actual.dot(x, y) != expected.dot(x, y)) {
                return ::testing::AssertionFailure() << "dot (" << x << ", " << y << ") is " << actual.dot(x, y);
            }
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace

uint32_t mix(uint32_t seed, unsigned x, unsigned y)
{
    uint64_t z = (static_cast<uint64_t>(seed) << 40) ^ (static_cast<uint64_t>(y) << 20) ^ x;
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<uint32_t>(z ^ (z >> 31));
}

Shade randomShade(uint32_t seed)
{
    return [seed](unsigned x, unsigned y) { return static_cast<uint8_t>(mix(seed, x, y)); };
}

Shade photoShade(uint32_t seed)
{
    return [seed](unsigned x, unsigned y) {
        const int cx = int(x) - 20;
        const int cy = int(y) - 12;
        int v = int((x * 7 + y * 3) % 256);
        if (cx * cx + cy * cy < 150) {
            v = 230;
        }
        v += int(mix(seed, x, y) % 31) - 15;
        return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    };
}

RasterPage page(unsigned width, unsigned height, unsigned dpi, const std::string& sizeName, const Shade& shade)
{
    RasterPage p = grayPage(width, height, dpi, shade);
    snprintf(p.header.cupsPageSizeName, sizeof(p.header.cupsPageSizeName), "%s", sizeName.c_str());
    return p;
}

std::string optionsFor(const pageref::JobSettings& s)
{
    std::string options = std::string("HalftoneType=") + kTypeNames[s.halftoneType] +
                          " Brightness=" + std::to_string(s.brightness) + " Contrast=" + std::to_string(s.contrast) +
                          " Origin=" + (s.rotate180 ? "Rotation180" : "Normal") +
                          " MirrorImage=" + (s.mirror ? "True" : "False") +
                          " NegativeImage=" + (s.negative ? "True" : "False");
    if (s.antiWrinkle >= 0) {
        options += " AntiWrinkle=" + std::to_string(s.antiWrinkle);
    }
    return options;
}

FilterResult printAndCompare(const std::string& ppd, const std::vector<RasterPage>& pages,
                             const pageref::JobSettings& settings, const std::string& extraOptions)
{
    TempDir dir;
    writeRaster(dir.file("job.ras"), pages);
    FilterRun run;
    run.ppd = ppd;
    run.rasterFile = dir.file("job.ras");
    run.options = optionsFor(settings) + (extraOptions.empty() ? "" : " " + extraOptions);
    const FilterResult result = runFilter(run);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    const korvostream::Stream stream = korvostream::parseStream(result.out);
    EXPECT_TRUE(stream.errors.empty());
    const std::vector<korvostream::Page> printed = korvostream::collectPages(stream);
    EXPECT_EQ(printed.size(), pages.size()) << run.options;
    for (size_t i = 0; i < printed.size() && i < pages.size(); ++i) {
        const pageref::ProcessedPage expected = pageref::processPage(pageInput(pages[i]), settings);
        EXPECT_TRUE(samePage(printed[i], packetSizes(stream, printed[i].offset), expected.printed))
            << "page " << i + 1 << " of a job with " << run.options;
    }
    return result;
}

}  // namespace printedjob
