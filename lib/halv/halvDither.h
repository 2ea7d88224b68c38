// SPDX-License-Identifier: Apache-2.0
// Tattoo halftoning: gray conversion, a global moment-preserving threshold, a
// gamma curve, unsharp masking and a custom error diffusion, giving a two-level
// (0 / 255) HALV_IMG_GRAY image of the source's size.
#pragma once

#include "halv/HalvImage.h"

#include <cstddef>
#include <cstdint>

// Halftone type "Tattoo": gamma split at 64 with gammas 0.85 and 0.7.
HalvImage halvTattooDithering(HalvImage& src);
// Halftone type "Tattoo_Q6": gamma split at the moment threshold with gammas
// 0.5 and 1.5.
HalvImage halvTattooDitheringQ6(HalvImage& src);

// The halftoning of halvTattooDithering (q6 false) or halvTattooDitheringQ6
// (q6 true) for a gray image of rows `width` bytes apart, written into rows
// `outStride` bytes apart of the caller's buffer: the same bytes without a
// copy of the source or of the result. An image these do not halftone is
// copied as it is.
void halvTattooInto(const uint8_t* gray, int width, int height, bool q6, uint8_t* out, size_t outStride);

// HALV_IMG_GRAY copy of an image of any colour format.
HalvImage cvtGray(const HalvImage& src);

// Moment-preserving bilevel threshold of the first width * height bytes:
// 0..255; 128 when the moments admit no two levels (including an image of one
// gray level); -1 when no level reaches the lower share.
int thresh_global_moments(const HalvImage& img);

// Error diffusion to 0 / 255 with the given threshold.
HalvImage edf_cus(const HalvImage& src, int threshold);
