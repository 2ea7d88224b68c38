// SPDX-License-Identifier: Apache-2.0
// The toolkit's own math. Halftone results depend bit for bit on these
// approximations, so they are computed here, step by step, in single precision
// (double only where noted), and never through the platform's math library.
#pragma once

#include <cstdint>

#if defined(__FAST_MATH__)
#error "halv needs IEEE float semantics: do not build it with -ffast-math"
#endif
#if defined(__FLT_EVAL_METHOD__) && __FLT_EVAL_METHOD__ != 0
#error "halv needs float expressions evaluated in float (FLT_EVAL_METHOD 0), e.g. SSE math"
#endif

// Upper bounds on the Newton and fixed-point loops of my_sqrt and my_ln. The
// loops stop by their own test long before these for every finite input (see
// the bound tests); the bounds only turn a would-be endless loop into a
// returned value.
constexpr int kHalvSqrtMaxSteps = 1024;
constexpr int kHalvLnMaxSteps = 1 << 26;

// Truncation toward zero to a 32-bit int. NaN and values outside the int range
// give INT32_MIN, the result of the x86 conversion instruction, instead of
// undefined behaviour.
inline int32_t halvTruncToInt(float x)
{
    // -2^31 itself converts to INT32_MIN; selecting it instead of branching
    // lets loops over rows vectorise.
    const float safe = (x >= -2147483648.0f && x < 2147483648.0f) ? x : -2147483648.0f;
    return static_cast<int32_t>(safe);
}

// -v when 0 > v, else v: -0 and NaN come back unchanged.
inline float myabs(float v)
{
    return 0 > v ? -v : v;
}

// Square root by Newton's iteration from x / 2. Returns the estimate before
// the step that moved it by less than 1e-6; -1 for a negative input.
float my_sqrt(float x);

// e^x by the Taylor series, at most 20 terms after the leading 1 (so it falls
// short of e^x for large x); negative x as 1 / e^-x.
float my_exp(float x);

// Natural logarithm by a fixed-point iteration on my_exp; -1 for x <= 0.
float my_ln(float x);

// x^y as my_exp(y * my_ln(x)), with the zero and negative base cases first.
float my_pow(float x, float y);

// Round half away from zero; the sum x +/- 0.5 is formed in float.
inline int my_round(float x)
{
    if (static_cast<double>(x) >= 0) {
        return halvTruncToInt(x + 0.5f);
    }
    return halvTruncToInt(x - 0.5f);
}

// lo when v < lo; otherwise v when v < hi; otherwise hi.
template <typename T>
inline T myClamp(T v, T lo, T hi)
{
    if (v < lo) {
        return lo;
    }
    if (v < hi) {
        return v;
    }
    return hi;
}

inline bool isWithinBounds(int x, int y, int width, int height)
{
    if (x < 0 || x >= width) {
        return false;
    }
    return y >= 0 && y < height;
}
