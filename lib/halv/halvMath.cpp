// SPDX-License-Identifier: Apache-2.0
#include "halv/halvMath.h"

#include <cmath>
#include <limits>

float my_sqrt(float x)
{
    if (0 > x) {
        return -1.0f;
    }
    if (x == 0) {
        return 0.0f;
    }
    // The stop test never holds for NaN (unordered) nor for infinity (inf - inf
    // is NaN): answer those at once.
    if (std::isnan(x) || std::isinf(x)) {
        return x;
    }
    float g = x / 2.0f;
    // Only the smallest denormal halves to 0; a Newton step from 0 jumps to
    // infinity and stays there. Start from x itself, as its neighbours do in
    // effect.
    if (g == 0) {
        g = x;
    }
    for (int step = 0; step < kHalvSqrtMaxSteps; ++step) {
        float n = 0.5f * (g + x / g);
        if (1e-6f > myabs(n - g)) {
            return g;
        }
        g = n;
    }
    return g;
}

float my_exp(float x)
{
    if (0 > x) {
        return static_cast<float>(1.0 / static_cast<double>(my_exp(-x)));
    }
    float sum = 1.0f;
    float term = 1.0f;
    for (int n = 1; n <= 20; ++n) {
        term = (x / static_cast<float>(n)) * term;
        sum = sum + term;
        if (static_cast<double>(term) < 1e-6) {
            break;
        }
    }
    return sum;
}

float my_ln(float x)
{
    if (0 >= x) {
        return -1.0f;
    }
    // NaN would never meet the stop test, nor would infinity ((inf - 1) /
    // (1 + inf) is NaN).
    if (std::isnan(x) || std::isinf(x)) {
        return x;
    }
    float y = (x - 1.0f) / (1.0f + x);
    // Brent's cycle detection: `saved` is an earlier value of y, refreshed at
    // every power of two steps. The next value depends on y alone, so meeting
    // `saved` again means the iteration goes round the same values forever
    // without meeting its stop test (it happens: rounding can leave y hopping
    // between neighbours more than 1e-6 apart). Any value of the cycle then
    // serves; they lie within a few units of the last place of each other.
    float saved = y;
    int power = 1;
    int sinceSaved = 0;
    for (int step = 0; step < kHalvLnMaxSteps; ++step) {
        // The correction divides by x, not by e^y: a fixed-point scheme that
        // converges linearly near the root and climbs by about 1 per step
        // while my_exp(y) is far below x.
        float n = y - (my_exp(y) - x) / x;
        if (1e-6f > myabs(n - y)) {
            return y;
        }
        y = n;
        // From -infinity every further step gives -infinity again and the
        // difference of two infinities is NaN, so the stop test can no longer
        // hold: this is the value the iteration tends to.
        if (y == -std::numeric_limits<float>::infinity()) {
            return y;
        }
        if (y == saved) {
            return y;
        }
        if (++sinceSaved == power) {
            saved = y;
            power *= 2;
            sinceSaved = 0;
        }
    }
    return y;
}

float my_pow(float x, float y)
{
    if (x == 0) {
        if (y == 0) {
            return 1.0f;
        }
        if (y > 0) {
            return 0.0f;
        }
        return -1.0f;
    }
    if (0 > x) {
        // A negative base needs an integral exponent. An exponent the
        // truncation cannot hold (NaN, or beyond the int range) truncates to
        // INT32_MIN, which leaves a non-zero fraction.
        float f = y - static_cast<float>(halvTruncToInt(y));
        if (f != 0) {
            return -1.0f;
        }
        // An integral exponent goes on with the negative base: my_ln gives -1
        // and the result is my_exp(-y).
    }
    return my_exp(y * my_ln(x));
}
