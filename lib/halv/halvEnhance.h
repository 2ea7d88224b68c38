// SPDX-License-Identifier: Apache-2.0
// Tone and sharpness filters of the tattoo pipeline. All of them work on
// HALV_IMG_GRAY images and address pixel (x, y) as data[y * width + x].
#pragma once

#include "halv/HalvImage.h"

// Remaps the first width * height bytes through a two-segment gamma curve that
// meets the identity at 0, at `split` and at 255. Values are truncated.
void enh_piecewise_gamma(HalvImage& img, int split, float gammaLow, float gammaHigh);

// Fills kernel[0 .. size - 1] with a normalised Gaussian centred on size / 2.
// Callers pass odd sizes.
void generateGaussianKernel1D(int size, double sigma, double* kernel);

// One pass of a 1-D kernel of `size` taps, horizontal or vertical, replicating
// the edge pixels; sums in double, rounded to bytes.
HalvImage convolve1D(const HalvImage& src, const double* kernel, int size, bool horizontal);

// Separable Gaussian blur: horizontal pass, rounding to bytes, vertical pass.
HalvImage enh_gaussian_filter_fast(const HalvImage& src, int size, double sigma);

// Fills size * size doubles (row-major, rows by vertical offset) with a
// normalised 2-D Gaussian.
void generateGaussianKernel(int size, double sigmaX, double sigmaY, double* kernel);

// Direct 2-D Gaussian blur (size * size taps per pixel).
HalvImage enh_gaussian_filter(const HalvImage& src, int size, double sigmaX, double sigmaY);

// a * (1 + weight) - b * weight per pixel, rounded and clamped to 0..255.
HalvImage add_Weighted(const HalvImage& a, const HalvImage& b, float weight);

// Unsharp masking: add_Weighted(src, blur(src), amountPercent / 100), the blur
// a `size`-tap Gaussian of sigma 3.
HalvImage enh_unsharp_mask(const HalvImage& src, float amountPercent, int size);
