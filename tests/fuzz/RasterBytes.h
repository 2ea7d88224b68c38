// SPDX-License-Identifier: Apache-2.0
// CUPS raster streams in memory, for the seed corpus.
#pragma once

#include <cstdint>
#include <vector>

#include "RasterFile.h"

enum class RasterFormat {
    V3,            // "3SaR": uncompressed, this machine's byte order
    V3BigEndian,   // "RaS3": uncompressed, header words swapped
    V2Compressed,  // "2SaR": compressed lines, by the libcups writer
    V1,            // "tSaR": uncompressed, the first version's sync word
};

// The pages as a stream. Every format but V2Compressed is written byte by
// byte, header and pixels as they are, so that it may hold headers the
// libcups writer refuses (zero height, 1 bit per pixel).
std::vector<uint8_t> rasterBytes(const std::vector<korvotest::RasterPage>& pages, RasterFormat format);
