// SPDX-License-Identifier: Apache-2.0
#include "FilterSeeds.h"

#include <cstdio>
#include <cstdlib>

#include "Filter.h"
#include "FilterJob.h"
#include "RasterBytes.h"
#include "ScratchDirectory.h"
#include "korvostream/KorvoStream.h"

namespace {

using korvotest::RasterPage;

// Streams of framed pages run to hundreds of KB: seeds stay small.
constexpr size_t kMaxStreamSeedBytes = 6144;

RasterPage photo(unsigned width, unsigned height, unsigned dpi, const std::string& sizeName = "A4")
{
    return korvotest::grayPage(width, height, dpi, korvotest::photoShade(width * height), sizeName);
}

// A header the libcups writer would refuse, or one the filter refuses.
RasterPage oddPage(unsigned width, unsigned height, unsigned bitsPerPixel, unsigned bytesPerLine)
{
    RasterPage page = photo(width, height, 203);
    page.header.cupsBitsPerPixel = bitsPerPixel;
    page.header.cupsBitsPerColor = bitsPerPixel;
    page.header.cupsBytesPerLine = bytesPerLine;
    page.pixels.resize(static_cast<size_t>(bytesPerLine) * height);
    return page;
}

std::vector<uint8_t> job(const std::string& ppd, const std::string& options, const std::vector<RasterPage>& pages,
                         RasterFormat format = RasterFormat::V3)
{
    const std::string selectors = encodeFilterJob(ppd, options);
    std::vector<uint8_t> bytes(selectors.begin(), selectors.end());
    const std::vector<uint8_t> raster = rasterBytes(pages, format);
    bytes.insert(bytes.end(), raster.begin(), raster.end());
    return bytes;
}

void addHalftoneSeeds(Seeds& seeds)
{
    const char* const labelTypes[] = {"None",   "FloydSteinberg",    "Ordered", "Burkes",
                                      "Stucki", "JarvisJudiceNinke", "Sierra",  "StevensonArce"};
    const char* const extras[] = {
        "Resolution=203dpi",          "Origin=Rotation180", "MirrorImage=True",   "NegativeImage=True",
        "Brightness=30 Contrast=-20", "Darkness=Dark",      "PaperType=LabelGap", ""};
    for (size_t i = 0; i < std::size(labelTypes); ++i) {
        const std::string ppd = i % 2 == 0 ? "korvr27.ppd" : "korv315.ppd";
        const unsigned dpi = i == 0 ? 203 : 300;
        seeds[std::string("halftone-") + labelTypes[i]] =
            job(ppd, std::string("HalftoneType=") + labelTypes[i] + " " + extras[i], {photo(40, 24, dpi)},
                i % 3 == 1 ? RasterFormat::V2Compressed : RasterFormat::V3);
    }
    seeds["halftone-Tattoo"] = job("korvk5.ppd", "HalftoneType=Tattoo", {photo(48, 32, 300)});
    seeds["halftone-Tattoo_Q6"] = job("korvq6.ppd", "HalftoneType=Tattoo_Q6 Origin=Rotation180", {photo(48, 32, 300)},
                                      RasterFormat::V2Compressed);
}

void addJobSeeds(Seeds& seeds)
{
    seeds["frame-tattoo-a6"] =
        job("korvk5.ppd", "AntiWrinkle=3 PageSize=Tattoo_A6 NegativeImage=True", {photo(32, 32, 300, "Tattoo_A6")});
    seeds["frame-unnamed-size"] = job("korvq6.ppd", "AntiWrinkle=1 HalftoneType=None", {photo(64, 48, 300, "Custom")});
    seeds["pages-3-cut-every-page"] =
        job("korvr27.ppd", "PostAction=Cut Occurrence=EveryPage",
            {photo(40, 16, 203), photo(24, 8, 203), photo(8, 30, 203)}, RasterFormat::V2Compressed);
    seeds["pages-2-tearoff-after-job-mark"] = job(
        "korv315.ppd", "PostAction=TearOff Occurrence=AfterJob PaperType=LabelMark MediaMethod=Transfer GapsHeight=5",
        {photo(16, 16, 300), photo(16, 16, 300)});
    seeds["page-then-zero-height"] = job("korvr27.ppd", "", {photo(16, 8, 203), oddPage(16, 0, 8, 16)});
    seeds["page-1-bit"] = job("korvr27.ppd", "", {oddPage(64, 8, 1, 8)});
    seeds["page-wider-than-line"] = job("korv315.ppd", "", {oddPage(40, 8, 8, 32)});
    seeds["page-one-pixel-q6"] = job("korvq6.ppd", "HalftoneType=Tattoo_Q6 MirrorImage=True", {photo(1, 1, 300)});
    seeds["raster-v1"] = job("korvr27.ppd", "PostAction=TearOff", {photo(24, 12, 203)}, RasterFormat::V1);
    seeds["raster-big-endian"] = job("korvk5.ppd", "", {photo(24, 12, 300)}, RasterFormat::V3BigEndian);
    seeds["page-size-custom"] = job("korvr27.ppd", "PageSize=Custom.60x40mm", {photo(24, 16, 203)});
    seeds["page-size-below-1mm"] = job("korv315.ppd", "PageSize=Custom.0.5x0.5mm", {photo(8, 8, 203)});
    seeds["contrast-extremes"] =
        job("korvk5.ppd", "HalftoneType=None Brightness=100 Contrast=100 Darkness=Light", {photo(24, 24, 300)});
    seeds["no-pages"] = job("korvq6.ppd", "", {});
}

// Runs one job as fuzz_filter does, into a memory stream.
std::vector<uint8_t> printerStream(const std::vector<uint8_t>& input, const std::string& ppdDirectory)
{
    FuzzBytes bytes(input.data(), input.size());
    const FilterJob filterJob = decodeFilterJob(bytes, ppdDirectory);
    ScratchDirectory scratch;
    const std::string rasterPath = scratch.path() + "/raster";
    FILE* raster = fopen(rasterPath.c_str(), "wb");
    fwrite(bytes.rest(), 1, bytes.restSize(), raster);
    fclose(raster);

    char* buffer = nullptr;
    size_t size = 0;
    FilterEnvironment environment;
    environment.statusPollLimit = 0;
    environment.captureDirectory = scratch.path();
    environment.geometryLogPath = scratch.path() + "/geometry.log";
    environment.backChannelFd = -1;
    environment.sideChannelFd = -1;
    environment.output = open_memstream(&buffer, &size);
    setenv("PPD", filterJob.ppdPath.c_str(), 1);
    std::vector<std::string> args = {"rastertokorvoppli", "1", "seed", "job", "1", filterJob.options, rasterPath};
    std::vector<char*> argv;
    for (std::string& arg : args) {
        argv.push_back(arg.data());
    }
    runFilter(static_cast<int>(args.size()), argv.data(), environment);
    fclose(environment.output);
    std::vector<uint8_t> stream(buffer, buffer + size);
    free(buffer);
    return stream;
}

}  // namespace

Seeds filterSeeds()
{
    Seeds seeds;
    addHalftoneSeeds(seeds);
    addJobSeeds(seeds);
    return seeds;
}

Seeds streamsOf(const Seeds& jobs, const std::string& ppdDirectory)
{
    Seeds streams;
    for (const auto& [name, input] : jobs) {
        std::vector<uint8_t> stream = printerStream(input, ppdDirectory);
        if (stream.size() <= kMaxStreamSeedBytes &&
            !korvostream::collectPages(korvostream::parseStream(stream)).empty()) {
            streams["stream-" + name] = std::move(stream);
        }
    }
    return streams;
}
