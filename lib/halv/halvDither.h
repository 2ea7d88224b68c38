// SPDX-License-Identifier: Apache-2.0
// Tattoo halftoning: gray conversion, a global moment-preserving threshold, a
// gamma curve, unsharp masking and a custom error diffusion, giving a two-level
// (0 / 255) HALV_IMG_GRAY image of the source's size.
#pragma once

#include "halv/HalvImage.h"

// Halftone type "Tattoo": gamma split at 64 with gammas 0.85 and 0.7.
HalvImage halvTattooDithering(HalvImage& src);
// Halftone type "Tattoo_Q6": gamma split at the moment threshold with gammas
// 0.5 and 1.5.
HalvImage halvTattooDitheringQ6(HalvImage& src);

// HALV_IMG_GRAY copy of an image of any colour format.
HalvImage cvtGray(const HalvImage& src);

// Moment-preserving bilevel threshold of the first width * height bytes:
// 0..255; 128 when the moments admit no two levels (including an image of one
// gray level); -1 when no level reaches the lower share.
int thresh_global_moments(const HalvImage& img);

// Error diffusion to 0 / 255 with the given threshold.
HalvImage edf_cus(const HalvImage& src, int threshold);
