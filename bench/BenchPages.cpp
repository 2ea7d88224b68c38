// SPDX-License-Identifier: Apache-2.0
#include "BenchPages.h"

#include <algorithm>

namespace korvobench {

namespace {

uint32_t grain(uint32_t x, uint32_t y)
{
    uint64_t z = (static_cast<uint64_t>(y) << 32) ^ x;
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<uint32_t>(z ^ (z >> 31));
}

uint8_t clampLevel(int v)
{
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// Sky-like gradient, a bright soft disc, a dark bar with hard edges and a
// band of fine detail, all with a little grain.
uint8_t photoLevel(uint32_t x, uint32_t y, uint32_t w, uint32_t h)
{
    const int64_t dx = int64_t(x) - w / 3;
    const int64_t dy = int64_t(y) - h / 3;
    const int64_t r2 = dx * dx + dy * dy;
    const int64_t disc = int64_t(w) * w / 16;
    int v = int(40 + 160 * uint64_t(y) / h + 40 * uint64_t(x) / w);
    if (r2 < disc) {
        v = int(20 + 60 * r2 / disc);
    }
    if (x > 2 * w / 3 && x < 2 * w / 3 + w / 12) {
        v = 235;
    }
    if (y > 3 * h / 4 && y < 3 * h / 4 + h / 20) {
        v = ((x / 3 + y / 5) % 7) * 36;
    }
    return clampLevel(v + int(grain(x, y) % 25) - 12);
}

// Lines of "words": strokes 3 dots wide of varying length; every 40th line a
// rule; a light gray box in the lower third.
uint8_t documentLevel(uint32_t x, uint32_t y, uint32_t w, uint32_t h)
{
    const uint32_t margin = w / 12;
    if (x < margin || x >= w - margin || y < h / 14 || y >= h - h / 14) {
        return 0;
    }
    if (y > 2 * h / 3 && y < 2 * h / 3 + h / 8 && x < w / 2) {
        return 60;
    }
    const uint32_t line = std::max<uint32_t>(h / 66, 3);
    const uint32_t inLine = y % line;
    if ((y / line) % 40 == 0) {
        return inLine == 0 ? 255 : 0;
    }
    if (inLine >= line * 2 / 3) {
        return 0;
    }
    const uint32_t cell = line / 2 + 1;
    const uint32_t word = grain(x / (cell * 6), y / line) % 7;
    if (word == 0) {
        return 0;
    }
    const uint32_t stroke = grain(x / cell, y / line) % 4;
    const uint32_t cx = x % cell;
    const uint32_t cy = inLine;
    const bool ink = stroke == 0   ? cx < 3
                     : stroke == 1 ? cy < 3 || cy + 3 >= line * 2 / 3
                     : stroke == 2 ? cx == cy
                                   : cx < 3 || cy < 3;
    return ink ? 240 : 0;
}

}  // namespace

GrayPage makePage(PageKind kind, uint32_t width, uint32_t height)
{
    GrayPage page;
    page.width = width;
    page.height = height;
    page.pixels.resize(static_cast<size_t>(width) * height);
    for (uint32_t y = 0; y < height; ++y) {
        uint8_t* row = page.pixels.data() + static_cast<size_t>(y) * width;
        for (uint32_t x = 0; x < width; ++x) {
            row[x] = kind == PageKind::Photo ? photoLevel(x, y, width, height) : documentLevel(x, y, width, height);
        }
    }
    return page;
}

GrayPage a4Page(PageKind kind, unsigned dpi)
{
    // Rounded to the nearest dot.
    return makePage(kind, (210 * dpi * 10 + 127) / 254, (297 * dpi * 10 + 127) / 254);
}

}  // namespace korvobench
