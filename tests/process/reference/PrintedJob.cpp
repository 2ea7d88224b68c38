#include "PrintedJob.h"

#include <cstring>
#include <sstream>

#include "korvostream/KorvoStream.h"

using namespace korvotest;

namespace printedjob {

std::vector<SentImage> sentImagesOrFail(const FilterResult& result)
{
    std::string problems;
    std::vector<SentImage> images = sentImages(result.out, &problems);
    EXPECT_EQ(problems, "");
    return images;
}

std::vector<SentImage> sentImages(const std::vector<uint8_t>& out, std::string* problems)
{
    const korvostream::Stream stream = korvostream::parseStream(out);
    for (const korvostream::FramingError& error : stream.errors) {
        *problems += "framing error at " + std::to_string(error.offset) + ": " + error.message + "\n";
    }
    std::vector<SentImage> images;
    const auto& items = stream.items;
    for (size_t i = 0; i < items.size(); ++i) {
        if (items[i].is(korvostream::Command::ImageRows)) {
            *problems += "image rows without a print area at " + std::to_string(items[i].offset) + "\n";
            continue;
        }
        if (!items[i].is(korvostream::Command::PrintArea)) {
            continue;
        }
        const std::vector<uint8_t>& p = items[i].payload;
        if (p.size() != 4) {
            *problems += "print area payload of " + std::to_string(p.size()) + " bytes\n";
            continue;
        }
        SentImage image;
        image.areaOffset = p[0] | (p[1] << 8);
        image.areaWidth = p[2] | (p[3] << 8);
        while (i + 1 < items.size() && items[i + 1].is(korvostream::Command::ImageRows)) {
            ++i;
            image.packetSizes.push_back(items[i].payload.size());
            image.packed.insert(image.packed.end(), items[i].payload.begin(), items[i].payload.end());
        }
        images.push_back(std::move(image));
    }
    return images;
}

namespace {

std::string sizesText(const std::vector<size_t>& sizes)
{
    std::ostringstream text;
    for (size_t i = 0; i < sizes.size(); ++i) {
        text << (i ? "," : "") << sizes[i];
    }
    return text.str();
}

}  // namespace

::testing::AssertionResult sameImage(const SentImage& actual, const pageref::Printed& expected)
{
    if (actual.areaOffset != expected.areaOffset || actual.areaWidth != expected.areaWidth) {
        return ::testing::AssertionFailure()
               << "print area offset/width " << actual.areaOffset << "/" << actual.areaWidth << ", expected "
               << expected.areaOffset << "/" << expected.areaWidth;
    }
    if (actual.packetSizes != expected.packetSizes) {
        return ::testing::AssertionFailure()
               << "row packet sizes {" << sizesText(actual.packetSizes) << "}, expected {"
               << sizesText(expected.packetSizes) << "} (" << expected.rows << " rows of " << expected.rowBytes
               << " bytes)";
    }
    if (actual.packed.size() != expected.packed.size()) {
        return ::testing::AssertionFailure() << "packed size " << actual.packed.size() << ", expected "
                                             << expected.packed.size();
    }
    size_t wrong = 0;
    std::ostringstream first;
    for (size_t i = 0; i < expected.packed.size(); ++i) {
        const uint8_t diff = actual.packed[i] ^ expected.packed[i];
        if (diff == 0) {
            continue;
        }
        for (int bit = 0; bit < 8; ++bit) {
            if (diff & (0x80 >> bit)) {
                if (wrong == 0) {
                    const size_t y = i / expected.rowBytes;
                    const size_t x = (i % expected.rowBytes) * 8 + bit;
                    first << "dot (" << x << ", " << y << ") is "
                          << ((actual.packed[i] & (0x80 >> bit)) ? "printed" : "blank") << ", expected "
                          << ((expected.packed[i] & (0x80 >> bit)) ? "printed" : "blank");
                }
                ++wrong;
            }
        }
    }
    if (wrong != 0) {
        return ::testing::AssertionFailure() << wrong << " wrong dots; first: " << first.str();
    }
    return ::testing::AssertionSuccess();
}

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

RasterPage page(unsigned width, unsigned height, unsigned dpi, const std::string& sizeName,
                const std::function<uint8_t(unsigned x, unsigned y)>& shade)
{
    RasterPage p = grayPage(width, height, dpi, shade);
    memset(p.header.cupsPageSizeName, 0, sizeof(p.header.cupsPageSizeName));
    strncpy(p.header.cupsPageSizeName, sizeName.c_str(), sizeof(p.header.cupsPageSizeName) - 1);
    return p;
}

uint32_t mix(uint32_t seed, unsigned x, unsigned y)
{
    uint64_t z = (static_cast<uint64_t>(seed) << 40) ^ (static_cast<uint64_t>(y) << 20) ^ x;
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<uint32_t>(z ^ (z >> 31));
}


std::function<uint8_t(unsigned, unsigned)> randomShade(uint32_t seed)
{
    return [seed](unsigned x, unsigned y) { return static_cast<uint8_t>(mix(seed, x, y) & 0xFF); };
}

std::function<uint8_t(unsigned, unsigned)> gradientShade(unsigned width, unsigned height)
{
    return [width, height](unsigned x, unsigned y) {
        const unsigned w = width > 1 ? width - 1 : 1;
        const unsigned h = height > 1 ? height - 1 : 1;
        return static_cast<uint8_t>((x * 200 / w + y * 55 / h) & 0xFF);
    };
}

// Smooth blobs with a little grain, in integer arithmetic.
std::function<uint8_t(unsigned, unsigned)> photoShade(uint32_t seed)
{
    return [seed](unsigned x, unsigned y) {
        const int cx = static_cast<int>(seed % 17) + 3;
        const int cy = static_cast<int>(seed % 5) + 1;
        const int dx = static_cast<int>(x) - cx;
        const int dy = static_cast<int>(y) - cy;
        int v = 230 - (dx * dx + 4 * dy * dy) * 3;
        v += static_cast<int>((x * 7 + y * 13 + seed) % 23) - 11;
        if (v < 0) {
            v = 40 + (-v % 60);
        }
        return static_cast<uint8_t>(v > 255 ? 255 : v);
    };
}

std::function<uint8_t(unsigned, unsigned)> edgeShade(uint32_t seed)
{
    return [seed](unsigned x, unsigned y) {
        static const uint8_t levels[] = {127, 128, 129, 130, 0, 255, 1, 254};
        return levels[mix(seed + 7777, x, y) % 8];
    };
}

std::function<uint8_t(unsigned, unsigned)> shadeByIndex(size_t index, unsigned width, unsigned height)
{
    switch (index % 4) {
    case 0: return randomShade(static_cast<uint32_t>(index) + 1);
    case 1: return gradientShade(width, height);
    case 2: return photoShade(static_cast<uint32_t>(index));
    default: return edgeShade(static_cast<uint32_t>(index));
    }
}

FilterResult runJob(const TempDir& dir, const std::string& ppd, const std::vector<RasterPage>& pages,
                    const std::string& options, const std::string& captureDir)
{
    const std::string raster = dir.file("job.ras");
    writeRaster(raster, pages);
    FilterRun run;
    run.binary = seamsFilter();
    run.ppd = ppd;
    run.rasterFile = raster;
    run.options = options;
    run.env.push_back({"KORVO_TEST_CAPTURE_DIR", captureDir});
    return runFilter(run);
}

std::vector<std::vector<std::string>> linesByPage(const std::string& err, const std::vector<std::string>& prefixes)
{
    std::vector<std::vector<std::string>> pages;
    std::istringstream lines(err);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("INFO: page ", 0) == 0) {
            pages.emplace_back();
            continue;
        }
        if (pages.empty()) {
            continue;
        }
        for (const std::string& prefix : prefixes) {
            if (line.rfind(prefix, 0) == 0) {
                pages.back().push_back(line);
                break;
            }
        }
    }
    return pages;
}

void expectPagesAsReference(const FilterResult& result, const std::vector<RasterPage>& pages,
                            const pageref::JobSettings& settings)
{
    ASSERT_EQ(result.exitStatus, 0) << result.err.substr(0, 2000);
    std::string problems;
    const std::vector<SentImage> sent = sentImages(result.out, &problems);
    EXPECT_EQ(problems, "");
    ASSERT_EQ(sent.size(), pages.size());
    for (size_t i = 0; i < pages.size(); ++i) {
        const pageref::ProcessedPage expected = pageref::processPage(pageInput(pages[i]), settings);
        EXPECT_TRUE(sameImage(sent[i], expected.printed))
            << "page " << i + 1 << ": " << pages[i].header.cupsWidth << "x" << pages[i].header.cupsHeight << " at "
            << pages[i].header.HWResolution[0] << " dpi, size name \"" << pages[i].header.cupsPageSizeName << "\"";
    }
}

}  // namespace printedjob
