#include "RasterFile.h"

#include "korvoraster/GrayPageHeader.h"

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

namespace korvotest {

RasterPage grayPage(unsigned width, unsigned height, unsigned dpi,
                    const std::function<uint8_t(unsigned x, unsigned y)>& shade)
{
    RasterPage page;
    page.header = grayPageHeader(width, height, dpi, "A4");
    page.pixels.resize(static_cast<size_t>(width) * height);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            page.pixels[static_cast<size_t>(y) * width + x] = shade(x, y);
        }
    }
    return page;
}

RasterPage uniformPage(unsigned width, unsigned height, unsigned dpi, uint8_t shade)
{
    return grayPage(width, height, dpi, [shade](unsigned, unsigned) { return shade; });
}

void writeRaster(const std::string& path, const std::vector<RasterPage>& pages)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) {
        throw std::runtime_error("cannot create " + path);
    }
    cups_raster_t* raster = cupsRasterOpen(fd, CUPS_RASTER_WRITE);
    for (const RasterPage& page : pages) {
        cups_page_header2_t header = page.header;
        cupsRasterWriteHeader2(raster, &header);
        if (!page.pixels.empty()) {
            cupsRasterWritePixels(raster, const_cast<unsigned char*>(page.pixels.data()),
                                  static_cast<unsigned>(page.pixels.size()));
        }
    }
    cupsRasterClose(raster);
    close(fd);
}

}  // namespace korvotest
