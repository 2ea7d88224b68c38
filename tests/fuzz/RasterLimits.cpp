// SPDX-License-Identifier: Apache-2.0
#include "RasterLimits.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

struct MemoryStream {
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
};

ssize_t readMemory(void* context, unsigned char* buffer, size_t length)
{
    auto* stream = static_cast<MemoryStream*>(context);
    const size_t count = std::min(length, stream->size - stream->pos);
    memcpy(buffer, stream->data + stream->pos, count);
    stream->pos += count;
    return static_cast<ssize_t>(count);
}

struct RasterCloser {
    void operator()(cups_raster_t* raster) const { cupsRasterClose(raster); }
};

bool sizeWithinLimits(const cups_page_header2_t& header)
{
    return header.cupsWidth <= kMaxPageSide && header.cupsHeight <= kMaxPageSide &&
           header.cupsBytesPerLine <= kMaxPageSide;
}

// Reads the page's lines, so that the next header can be read; false at the
// end of the stream.
bool skipPixels(cups_raster_t* raster, const cups_page_header2_t& header)
{
    std::vector<unsigned char> line(header.cupsBytesPerLine);
    for (unsigned y = 0; y < header.cupsHeight; ++y) {
        if (cupsRasterReadPixels(raster, line.data(), header.cupsBytesPerLine) == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::vector<cups_page_header2_t> pageHeaders(const uint8_t* data, size_t size)
{
    std::vector<cups_page_header2_t> headers;
    MemoryStream stream{data, size};
    const std::unique_ptr<cups_raster_t, RasterCloser> raster(cupsRasterOpenIO(readMemory, &stream, CUPS_RASTER_READ));
    cups_page_header2_t header;
    while (raster && headers.size() <= kMaxPages && cupsRasterReadHeader2(raster.get(), &header) != 0) {
        headers.push_back(header);
        if (!sizeWithinLimits(header) || !skipPixels(raster.get(), header)) {
            break;
        }
    }
    return headers;
}

bool withinLimits(const std::vector<cups_page_header2_t>& headers)
{
    return headers.size() <= kMaxPages && std::all_of(headers.begin(), headers.end(), sizeWithinLimits);
}
