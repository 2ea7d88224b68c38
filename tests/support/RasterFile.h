// SPDX-License-Identifier: Apache-2.0
// Test pages, and CUPS raster streams written with the real libcups writer.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

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

// A cheap, well-mixed hash of the seed and the position.
uint32_t mix(uint32_t seed, unsigned x, unsigned y);
// Noise over the whole range; smooth shapes with a little noise.
Shade randomShade(uint32_t seed);
Shade photoShade(uint32_t seed);

// Writes the pages, that many times over, with cupsRasterOpen(fd, mode),
// cupsRasterWriteHeader2 and cupsRasterWritePixels. PWG raster
// (CUPS_RASTER_WRITE_PWG) gets the PWG name of each page size, such as
// iso_a4_210x297mm for A4.
void writeRaster(const std::string& path, const std::vector<RasterPage>& pages, int times = 1,
                 cups_mode_t mode = CUPS_RASTER_WRITE);

}  // namespace korvotest
