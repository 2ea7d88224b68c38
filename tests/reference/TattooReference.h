// SPDX-License-Identifier: Apache-2.0
// A slow, literal model of the tattoo halftoning on byte planes, in the
// stated precision and order, with the filter's guards and no others: my_sqrt
// and my_ln return their start value at once for NaN and infinity, the
// threshold is 128 for a NaN discriminant, and the gamma entry of an empty
// upper segment (split 255) is the split. It never calls the filter's code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pageref::tattoo {

// A gray image, rows of width bytes with no padding.
struct Plane {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> px;
    Plane(int w, int h) : width(w), height(h), px(size_t(w) * size_t(h), 0) {}
};

float myExp(float x);
float mySqrt(float x);                   // ends for every finite x but the smallest denormal
float myLn(float x);                     // ends for every base the gamma curve can give
int momentThreshold(const Plane& gray);  // 0..255, 128 or -1
void piecewiseGamma(Plane& gray, int split, float gammaLow, float gammaHigh);
std::vector<double> gaussianKernel1D(int size, double sigma);  // odd sizes
Plane convolve1D(const Plane& source, const std::vector<double>& kernel, bool horizontal);
Plane gaussianBlur(const Plane& source, int size, double sigma);
Plane addWeighted(const Plane& a, const Plane& b, float weight);
Plane unsharpMask(const Plane& source, float amountPercent, int size);
Plane errorDiffusion(const Plane& source, int threshold);

// One page halftoned as "Tattoo" or (q6) "Tattoo_Q6".
Plane halftone(const Plane& source, bool q6);

}  // namespace pageref::tattoo
