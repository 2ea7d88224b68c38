// CUPS raster streams written with the real libcups writer.
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

// An 8-bit page in colour space K (0 = blank paper) at the given resolution,
// pixel (x, y) = shade(x, y).
RasterPage grayPage(unsigned width, unsigned height, unsigned dpi,
                    const std::function<uint8_t(unsigned x, unsigned y)>& shade);
// A page of one shade.
RasterPage uniformPage(unsigned width, unsigned height, unsigned dpi, uint8_t shade);

// Writes the pages with cupsRasterOpen(fd, CUPS_RASTER_WRITE),
// cupsRasterWriteHeader2 and cupsRasterWritePixels.
void writeRaster(const std::string& path, const std::vector<RasterPage>& pages);

}  // namespace korvotest
