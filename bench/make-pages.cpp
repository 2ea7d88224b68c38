// SPDX-License-Identifier: Apache-2.0
// Writes the benchmark pages into a directory: for photo and document pages
// at 300 and 203 dpi, KIND-DPI.ras (one page of CUPS raster, 8-bit K, as the
// spooler hands it to the filter) and KIND-DPI.pgm (the same picture for
// general-purpose tools: 255 is white); and photo-300-x20.ras, the photo page
// twenty times in one job; mixed.ras, a job of small and odd-sized pages.
//
//   korvo-bench-pages DIR
#include <cups/raster.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "BenchPages.h"

using korvobench::GrayPage;
using korvobench::PageKind;

namespace {

cups_page_header2_t headerOf(const GrayPage& page, unsigned dpi)
{
    cups_page_header2_t header;
    memset(&header, 0, sizeof(header));
    header.HWResolution[0] = dpi;
    header.HWResolution[1] = dpi;
    header.PageSize[0] = 595;
    header.PageSize[1] = 842;
    header.NumCopies = 1;
    header.cupsWidth = page.width;
    header.cupsHeight = page.height;
    header.cupsBitsPerColor = 8;
    header.cupsBitsPerPixel = 8;
    header.cupsBytesPerLine = page.width;
    header.cupsColorOrder = CUPS_ORDER_CHUNKED;
    header.cupsColorSpace = CUPS_CSPACE_K;
    header.cupsNumColors = 1;
    strcpy(header.cupsPageSizeName, "A4");
    return header;
}

struct JobPage {
    const GrayPage* page;
    unsigned dpi;
    const char* sizeName;
};

bool writeRaster(const std::string& path, const std::vector<JobPage>& pages)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        return false;
    }
    cups_raster_t* raster = cupsRasterOpen(fd, CUPS_RASTER_WRITE);
    bool written = raster != nullptr;
    for (size_t i = 0; i < pages.size() && written; ++i) {
        const GrayPage& page = *pages[i].page;
        cups_page_header2_t header = headerOf(page, pages[i].dpi);
        strcpy(header.cupsPageSizeName, pages[i].sizeName);
        written = cupsRasterWriteHeader2(raster, &header) != 0 &&
                  cupsRasterWritePixels(raster, const_cast<unsigned char*>(page.pixels.data()),
                                        static_cast<unsigned>(page.pixels.size())) == page.pixels.size();
    }
    cupsRasterClose(raster);
    return close(fd) == 0 && written;
}

// Pages of 1 x 1 to 1201 x 1400 dots, widths that are not multiples of 4 or
// 8, on several page sizes.
bool writeMixedJob(const std::string& path)
{
    std::vector<GrayPage> pages;
    const unsigned sizes[][2] = {{1, 1}, {13, 3}, {37, 10}, {257, 129}, {1201, 1400}, {2480, 301}};
    for (size_t i = 0; i < std::size(sizes); ++i) {
        pages.push_back(korvobench::makePage(i % 2 ? PageKind::Document : PageKind::Photo, sizes[i][0], sizes[i][1]));
    }
    const char* names[] = {"w288h432", "Tattoo_A6", "A4", "Tattoo_A5", "Tattoo_A6", "Letter"};
    std::vector<JobPage> job;
    for (size_t i = 0; i < pages.size(); ++i) {
        job.push_back({&pages[i], i % 3 == 1 ? 203u : 300u, names[i]});
    }
    return writeRaster(path, job);
}

bool writePgm(const std::string& path, const GrayPage& page)
{
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    fprintf(file, "P5\n%u %u\n255\n", page.width, page.height);
    std::string bright(page.pixels.begin(), page.pixels.end());
    for (char& level : bright) {
        level = static_cast<char>(255 - static_cast<unsigned char>(level));
    }
    const bool written = fwrite(bright.data(), bright.size(), 1, file) == 1;
    return fclose(file) == 0 && written;
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    bool ok = true;
    for (PageKind kind : {PageKind::Photo, PageKind::Document}) {
        for (unsigned dpi : {300u, 203u}) {
            const GrayPage page = korvobench::a4Page(kind, dpi);
            const std::string name =
                dir + "/" + (kind == PageKind::Photo ? "photo-" : "document-") + std::to_string(dpi);
            ok = ok && writeRaster(name + ".ras", {{&page, dpi, "A4"}}) && writePgm(name + ".pgm", page);
            if (kind == PageKind::Photo && dpi == 300) {
                ok = ok && writeRaster(dir + "/photo-300-x20.ras", std::vector<JobPage>(20, {&page, dpi, "A4"}));
            }
        }
    }
    ok = ok && writeMixedJob(dir + "/mixed.ras");
    if (!ok) {
        fprintf(stderr, "%s: cannot write the pages into %s\n", argv[0], dir.c_str());
        return 1;
    }
    return 0;
}
