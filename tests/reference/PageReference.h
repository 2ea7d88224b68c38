// SPDX-License-Identifier: Apache-2.0
// A slow, literal model of what the filter prints for one page: loading,
// brightness and contrast, rotation, mirroring, the dither methods (or the
// tattoo halftoning of TattooReference.h), the negative, the anti-wrinkle
// frame, the packing to one bit per dot and the print area. Pixels are read
// and written one at a time with bounds checks (std::vector::at). Nothing
// here calls the filter's own code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pageref {

struct PageInput {
    std::vector<uint8_t> pixels;  // height rows of bytesPerLine bytes
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bytesPerLine = 0;
    uint32_t resolution = 0;
    std::string pageSizeName;
};

struct JobSettings {
    int halftoneType = 0;  // 0 .. 7 dither methods, 8 Tattoo, 9 Tattoo_Q6
    int brightness = 0;    // setting, -100 .. 100
    int contrast = 0;      // setting, -100 .. 100
    bool rotate180 = false;
    bool mirror = false;
    bool negative = false;
    int antiWrinkle = -1;  // -1 without the option, 0 = no frame
};

// What goes to the printer for one page.
struct Printed {
    unsigned areaOffset = 0;
    unsigned areaWidth = 0;
    size_t rowBytes = 0;
    size_t rows = 0;
    std::vector<uint8_t> packed;  // rows * rowBytes, first dot in the high bit
};

Printed processPage(const PageInput& page, const JobSettings& settings);

}  // namespace pageref
