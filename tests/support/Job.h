// SPDX-License-Identifier: Apache-2.0
// Test pages, CUPS raster streams written with the real libcups writer, and
// the one job builder of the process tests: pages, a copy of a PPD with its
// model name replaced, the job's options and how the filter runs.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "FilterProcess.h"

namespace korvotest {

struct RasterPage {
    cups_page_header2_t header;
    std::vector<uint8_t> pixels;  // written as they are; may be shorter than the page
};

using Shade = std::function<uint8_t(unsigned x, unsigned y)>;

// An 8-bit page in colour space K (0 = blank paper): pixel (x, y) =
// shade(x, y), its page size named in the header.
RasterPage grayPage(unsigned width, unsigned height, unsigned dpi, const Shade& shade,
                    const std::string& sizeName = "A4");
RasterPage uniformPage(unsigned width, unsigned height, unsigned dpi, uint8_t level);

// Noise over the whole range; smooth shapes with a little noise.
Shade randomShade(uint32_t seed);
Shade photoShade(uint32_t seed);

// Writes the pages, that many times over, with cupsRasterOpen(fd, mode),
// cupsRasterWriteHeader2 and cupsRasterWritePixels. PWG raster
// (CUPS_RASTER_WRITE_PWG) gets the PWG name of each page size, such as
// iso_a4_210x297mm for A4.
void writeRaster(const std::string& path, const std::vector<RasterPage>& pages, int times = 1,
                 cups_mode_t mode = CUPS_RASTER_WRITE);

struct Job {
    std::string ppd = "korvr27.ppd";  // a shipped PPD, any by absolute path, or none: run.ppd
    std::string model = "TEST";       // its *ModelName, the PPD's own when empty: only R27, V315, K5 and Q6 are polled
    std::vector<RasterPage> pages;
    int times = 1;  // the pages are sent that many times over
    std::string options;
    bool rasterOnStdin = false;  // otherwise the raster file is the sixth argument
    FilterRun run;               // the rest; its PPD, options and raster come from above
};

// Writes the job's PPD and raster into a temporary directory and runs the
// filter on them.
FilterResult print(const Job& job);
// The jobs printed at the same time, each by a filter process of its own.
std::vector<FilterResult> printTogether(const std::vector<Job>& jobs);

}  // namespace korvotest
