// A slow, literal model of the tattoo halftoning: the toolkit's own math
// approximations, the moment threshold, the piecewise gamma curve, the
// separable Gaussian blur with the unsharp mask and the custom error
// diffusion, in the stated precision and order, on plain byte planes.
// Nothing here calls the filter's own code.
//
// The rules leave a few inputs without an end (a NaN or infinite square
// root or logarithm, the NaN discriminant of a one-level page, the 0/0 entry
// of a gamma curve split at 255). The model gives them the guarded results
// the filter promises: my_sqrt and my_ln return their starting value at
// once for NaN and infinity, the moment threshold is 128 for a NaN
// discriminant, and the gamma entry of an empty upper segment is the split
// itself. Every other loop runs as written; one that does not settle within
// a generous bound is a model slip and throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pageref {
namespace tattoo {

// A gray image, rows of width bytes with no padding.
struct Plane {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> px;

    Plane() = default;
    Plane(int w, int h) : width(w), height(h), px(static_cast<size_t>(w) * static_cast<size_t>(h), 0) {}
    uint8_t& at(int x, int y) { return px.at(static_cast<size_t>(y) * width + x); }
    uint8_t at(int x, int y) const { return px.at(static_cast<size_t>(y) * width + x); }
};

// The toolkit's math.
float myAbs(float v);
float mySqrt(float x);
float myExp(float x);
float myLn(float x);
float myPow(float x, float y);
int myRound(float x);

// The moment-preserving threshold of the whole plane: a level 0..255, 128
// for a negative or NaN discriminant, -1 when no level passes p0.
int momentThreshold(const Plane& gray);

// One entry of the two-segment gamma curve, and the curve applied in place.
uint8_t gammaEntry(int level, int split, float gammaLow, float gammaHigh);
void piecewiseGamma(Plane& gray, int split, float gammaLow, float gammaHigh);

// The normalised 1-D Gaussian kernel (odd size), one separable pass, the
// blur and the unsharp mask.
std::vector<double> gaussianKernel1D(int size, double sigma);
Plane convolve1D(const Plane& source, const std::vector<double>& kernel, bool horizontal);
Plane gaussianBlur(const Plane& source, int size, double sigma);
Plane addWeighted(const Plane& a, const Plane& b, float weight);
Plane unsharpMask(const Plane& source, float amountPercent, int size);

// The custom error diffusion with a full page of float errors; 0/255 out.
Plane errorDiffusion(const Plane& source, int threshold);

// The whole halftoning of one page: the moment threshold it used and the
// 0/255 result. q6 selects the Tattoo_Q6 gamma (split at the threshold,
// 0.5 and 1.5) instead of the Tattoo one (split 64, 0.85 and 0.7).
struct Halftoned {
    int threshold = 0;
    Plane image;
};
Halftoned halftone(const Plane& source, bool q6);

}  // namespace tattoo
}  // namespace pageref
