// SPDX-License-Identifier: Apache-2.0
#include "RasterBytes.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace {

// The header words a reader swaps in a stream of the other byte order: from
// AdvanceDistance up to the strings that follow cupsReal.
constexpr size_t kSwappedFrom = offsetof(cups_page_header2_t, AdvanceDistance);
constexpr size_t kSwappedTo = offsetof(cups_page_header2_t, cupsString);

ssize_t appendBytes(void* context, unsigned char* buffer, size_t length)
{
    auto* bytes = static_cast<std::vector<uint8_t>*>(context);
    bytes->insert(bytes->end(), buffer, buffer + length);
    return static_cast<ssize_t>(length);
}

std::vector<uint8_t> compressed(const std::vector<korvotest::RasterPage>& pages)
{
    std::vector<uint8_t> bytes;
    cups_raster_t* raster = cupsRasterOpenIO(appendBytes, &bytes, CUPS_RASTER_WRITE_COMPRESSED);
    for (const korvotest::RasterPage& page : pages) {
        cups_page_header2_t header = page.header;
        if (cupsRasterWriteHeader2(raster, &header) == 0) {
            throw std::runtime_error("libcups refuses a page header");
        }
        cupsRasterWritePixels(raster, const_cast<unsigned char*>(page.pixels.data()),
                              static_cast<unsigned>(page.pixels.size()));
    }
    cupsRasterClose(raster);
    return bytes;
}

void appendHeader(std::vector<uint8_t>& bytes, const cups_page_header2_t& header, bool swap)
{
    const auto* raw = reinterpret_cast<const uint8_t*>(&header);
    const size_t start = bytes.size();
    bytes.insert(bytes.end(), raw, raw + sizeof(header));
    for (size_t word = kSwappedFrom; swap && word < kSwappedTo; word += 4) {
        std::swap(bytes[start + word], bytes[start + word + 3]);
        std::swap(bytes[start + word + 1], bytes[start + word + 2]);
    }
}

}  // namespace

std::vector<uint8_t> rasterBytes(const std::vector<korvotest::RasterPage>& pages, RasterFormat format)
{
    if (format == RasterFormat::V2Compressed) {
        return compressed(pages);
    }
    const char* sync = format == RasterFormat::V3 ? "3SaR" : format == RasterFormat::V1 ? "tSaR" : "RaS3";
    std::vector<uint8_t> bytes(sync, sync + 4);
    for (const korvotest::RasterPage& page : pages) {
        appendHeader(bytes, page.header, format == RasterFormat::V3BigEndian);
        bytes.insert(bytes.end(), page.pixels.begin(), page.pixels.end());
    }
    return bytes;
}
