// SPDX-License-Identifier: Apache-2.0
// korvo-sample-raster: writes a small multi-page CUPS raster file (8-bit
// gray, colour space K, 203 dpi) with the libcups writer, for trying the
// filter without a print queue.
//
//   korvo-sample-raster FILE [PAGES]

#include <cups/raster.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "korvoraster/GrayPageHeader.h"

namespace {

constexpr unsigned kWidth = 384;   // 48 mm at 203 dpi
constexpr unsigned kHeight = 160;  // 20 mm
constexpr unsigned kDpi = 203;

// A frame, a horizontal gray ramp, and page number bars.
std::vector<unsigned char> samplePage(unsigned page)
{
    std::vector<unsigned char> pixels(static_cast<size_t>(kWidth) * kHeight, 0);
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            unsigned char& pixel = pixels[static_cast<size_t>(y) * kWidth + x];
            const bool frame = x < 4 || y < 4 || x >= kWidth - 4 || y >= kHeight - 4;
            const bool ramp = y >= 24 && y < 88 && x >= 16 && x < kWidth - 16;
            const bool bar = y >= 104 && y < 136 && x >= 16 && (x - 16) / 24 < page && (x - 16) % 24 < 16;
            if (frame || bar) {
                pixel = 255;
            } else if (ramp) {
                pixel = static_cast<unsigned char>((x - 16) * 255 / (kWidth - 33));
            }
        }
    }
    return pixels;
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc < 2 || argc > 3) {
        fprintf(stderr, "Usage: %s FILE [PAGES]\n", argv[0]);
        return 2;
    }
    const int pages = argc == 3 ? atoi(argv[2]) : 3;
    const int fd = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        perror(argv[1]);
        return 1;
    }
    cups_raster_t* raster = cupsRasterOpen(fd, CUPS_RASTER_WRITE);
    for (int page = 1; page <= pages; ++page) {
        cups_page_header2_t header = grayPageHeader(kWidth, kHeight, kDpi, "w54h22");
        std::vector<unsigned char> pixels = samplePage(static_cast<unsigned>(page));
        cupsRasterWriteHeader2(raster, &header);
        cupsRasterWritePixels(raster, pixels.data(), static_cast<unsigned>(pixels.size()));
    }
    cupsRasterClose(raster);
    close(fd);
    return 0;
}
