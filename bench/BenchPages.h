// SPDX-License-Identifier: Apache-2.0
// Deterministic test pages for the benchmarks: a photo-like page (smooth
// gradients, soft and hard edges, grain) and a document-like page (blank
// paper with lines of text-like strokes, rules and a gray box), as 8-bit
// gray in the raster's colour space K: 0 is blank paper, 255 full ink.
#pragma once

#include <cstdint>
#include <vector>

namespace korvobench {

enum class PageKind { Photo, Document };

struct GrayPage {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels;  // rows of width bytes
};

GrayPage makePage(PageKind kind, uint32_t width, uint32_t height);

// A4 (210 x 297 mm) at that many dots per inch: 2480 x 3508 at 300 dpi.
GrayPage a4Page(PageKind kind, unsigned dpi);

}  // namespace korvobench
