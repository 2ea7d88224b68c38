// SPDX-License-Identifier: Apache-2.0
// Halftone types, as named in the PPD option "HalftoneType".
#pragma once

#include <cstdint>

enum DitherType : int32_t {
    DITHER_NONE = 0,
    DITHER_FLOYD_STEINBERG = 1,
    DITHER_ORDERED = 2,
    DITHER_BURKES = 3,
    DITHER_STUCKI = 4,
    DITHER_JARVIS_JUDICE_NINKE = 5,
    DITHER_SIERRA = 6,
    DITHER_STEVENSON_ARCE = 7,
    DITHER_TATTOO = 8,
    DITHER_TATTOO_Q6 = 9,
};

// The type's name; values outside 0..9 give "None".
const char* korvoHalftoneTypeToStr(DitherType type);
// The type whose name matches exactly (case-sensitive); other names, and
// none, give unknown.
DitherType korvoHalftoneTypeFromStr(const char* name, DitherType unknown = DITHER_NONE);
