// SPDX-License-Identifier: Apache-2.0
#include "Job.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#include "common/KorvoString.h"

namespace korvotest {

namespace {

// A cheap, well-mixed hash of the seed and the position.
uint32_t mix(uint32_t seed, unsigned x, unsigned y)
{
    uint64_t z = (static_cast<uint64_t>(seed) << 40) ^ (static_cast<uint64_t>(y) << 20) ^ x;
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<uint32_t>(z ^ (z >> 31));
}

// The job's PPD and raster written into dir, and the run that prints them.
FilterRun prepare(const Job& job, const TempDir& dir)
{
    writeRaster(dir.file("job.ras"), job.pages, job.times);
    FilterRun run = job.run;
    if (!job.ppd.empty()) {
        run.ppd = job.model.empty() ? builtPpd(job.ppd) : ppdWithModel(dir, job.ppd, job.model);
    }
    run.options = job.options;
    if (job.rasterOnStdin) {
        run.stdinFile = dir.file("job.ras");
    } else {
        run.rasterFile = dir.file("job.ras");
    }
    return run;
}

}  // namespace

RasterPage grayPage(unsigned width, unsigned height, unsigned dpi, const Shade& shade, const std::string& sizeName)
{
    RasterPage page;
    cups_page_header2_t& header = page.header;
    memset(&header, 0, sizeof(header));
    header.HWResolution[0] = header.HWResolution[1] = dpi;
    header.PageSize[0] = width * 72 / dpi;
    header.PageSize[1] = height * 72 / dpi;
    header.NumCopies = 1;
    header.cupsWidth = header.cupsBytesPerLine = width;
    header.cupsHeight = height;
    header.cupsBitsPerColor = header.cupsBitsPerPixel = 8;
    header.cupsColorOrder = CUPS_ORDER_CHUNKED;
    header.cupsColorSpace = CUPS_CSPACE_K;
    header.cupsNumColors = 1;
    korvoStrCpy(header.cupsPageSizeName, sizeName.c_str(), sizeof(header.cupsPageSizeName));
    page.pixels.resize(static_cast<size_t>(width) * height);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            page.pixels[static_cast<size_t>(y) * width + x] = shade(x, y);
        }
    }
    return page;
}

RasterPage uniformPage(unsigned width, unsigned height, unsigned dpi, uint8_t level)
{
    return grayPage(width, height, dpi, [level](unsigned, unsigned) { return level; });
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

void writeRaster(const std::string& path, const std::vector<RasterPage>& pages, int times, cups_mode_t mode)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) {
        throw std::runtime_error("cannot create " + path);
    }
    cups_raster_t* raster = cupsRasterOpen(fd, mode);
    for (int time = 0; time < times; ++time) {
        for (const RasterPage& page : pages) {
            cups_page_header2_t header = page.header;
            const pwg_media_t* media = pwgMediaForLegacy(header.cupsPageSizeName);
            if (mode == CUPS_RASTER_WRITE_PWG && media != nullptr) {
                korvoStrCpy(header.cupsPageSizeName, media->pwg, sizeof(header.cupsPageSizeName));
            }
            cupsRasterWriteHeader2(raster, &header);
            if (!page.pixels.empty()) {
                cupsRasterWritePixels(raster, const_cast<unsigned char*>(page.pixels.data()),
                                      static_cast<unsigned>(page.pixels.size()));
            }
        }
    }
    cupsRasterClose(raster);
    close(fd);
}

FilterResult print(const Job& job)
{
    const TempDir dir;
    return runFilter(prepare(job, dir));
}

std::vector<FilterResult> printTogether(const std::vector<Job>& jobs)
{
    std::vector<std::unique_ptr<TempDir>> dirs;
    std::vector<FilterRun> runs;
    for (const Job& job : jobs) {
        dirs.push_back(std::make_unique<TempDir>());
        runs.push_back(prepare(job, *dirs.back()));
    }
    return runFiltersTogether(runs);
}

}  // namespace korvotest
