#include "TattooReference.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace pageref {
namespace tattoo {

namespace {

// No loop of the toolkit needs anywhere near this many steps on the values
// a page produces; reaching it means the model went astray.
constexpr long kStepBound = 1000000;

[[noreturn]] void endless(const char* what, float x)
{
    throw std::logic_error(std::string("model: ") + what + " does not settle for " + std::to_string(x));
}

}  // namespace

// ---------------------------------------------------------------- math

float myAbs(float v)
{
    return 0 > v ? -v : v;
}

float mySqrt(float x)
{
    if (0 > x) {
        return -1.0f;
    }
    if (x == 0) {
        return 0.0f;
    }
    float g = x / 2.0f;
    if (!std::isfinite(x)) {
        return g;  // guarded: NaN and infinity never settle
    }
    for (long step = 0;; ++step) {
        const float n = 0.5f * (g + x / g);
        if (1e-6f > myAbs(n - g)) {
            return g;  // the estimate before the last step
        }
        g = n;
        if (step >= kStepBound) {
            endless("my_sqrt", x);
        }
    }
}

float myExp(float x)
{
    if (0 > x) {
        return static_cast<float>(1.0 / static_cast<double>(myExp(-x)));
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

float myLn(float x)
{
    if (0 >= x) {
        return -1.0f;
    }
    float y = (x - 1) / (1 + x);
    if (!std::isfinite(x)) {
        return y;  // guarded: NaN and infinity never settle
    }
    for (long step = 0;; ++step) {
        const float n = y - (myExp(y) - x) / x;
        if (1e-6f > myAbs(n - y)) {
            return y;  // the value before the last step
        }
        y = n;
        if (step >= kStepBound) {
            endless("my_ln", x);
        }
    }
}

float myPow(float x, float y)
{
    if (x == 0) {
        if (y == 0) {
            return 1.0f;
        }
        return y > 0 ? 0.0f : -1.0f;
    }
    if (0 > x) {
        const float f = y - static_cast<float>(static_cast<int>(y));
        if (!(f == 0)) {
            return -1.0f;
        }
    }
    const float product = y * myLn(x);
    return myExp(product);
}

int myRound(float x)
{
    if (static_cast<double>(x) >= 0) {
        return static_cast<int>(x + 0.5f);
    }
    return static_cast<int>(x - 0.5f);
}

// ---------------------------------------------------------------- threshold

int momentThreshold(const Plane& gray)
{
    int32_t histogram[256] = {};
    const int n = gray.width * gray.height;
    for (int i = 0; i < n; ++i) {
        ++histogram[gray.px.at(static_cast<size_t>(i))];
    }
    float p[256];
    for (int k = 0; k < 256; ++k) {
        p[k] = static_cast<float>(histogram[k]) / static_cast<float>(n);
    }
    const float m0 = 1.0f;
    float m1 = 0.0f;
    float m2 = 0.0f;
    float m3 = 0.0f;
    for (int k = 0; k < 256; ++k) {
        m1 += static_cast<float>(k) * p[k];
        m2 += static_cast<float>(k * k) * p[k];
        m3 += static_cast<float>(k * k * k) * p[k];
    }
    const float cd = m0 * m2 - m1 * m1;
    const float c0 = (-m2 * m2 + m1 * m3) / cd;
    const float c1 = (-m0 * m3 + m2 * m1) / cd;
    const float disc = static_cast<float>(static_cast<double>(c1 * c1) + static_cast<double>(c0) * -4.0);
    if (0 > disc) {
        return 128;
    }
    if (disc != disc) {
        return 128;  // guarded: one gray level gives 0/0 moments
    }
    const float r = mySqrt(disc);
    const float z0 = 0.5f * (-c1 - r);
    const float z1 = 0.5f * (-c1 + r);
    const float p0 = (z1 - m1) / (z1 - z0);
    float cumulative = 0.0f;
    for (int k = 0; k < 256; ++k) {
        cumulative += p[k];
        if (cumulative > p0) {
            return k;
        }
    }
    return -1;
}

// ---------------------------------------------------------------- gamma

uint8_t gammaEntry(int level, int split, float gammaLow, float gammaHigh)
{
    if (level < split) {
        const float base = static_cast<float>(level) / static_cast<float>(split);
        const float value = myPow(base, gammaLow) * static_cast<float>(split);
        return static_cast<uint8_t>(static_cast<int>(value));
    }
    const int range = 255 - split;
    if (range == 0) {
        return static_cast<uint8_t>(split);  // guarded: the 0/0 entry of split 255
    }
    const float base = (static_cast<float>(level) - static_cast<float>(split)) / static_cast<float>(range);
    const float value = myPow(base, gammaHigh) * static_cast<float>(range) + static_cast<float>(split);
    return static_cast<uint8_t>(static_cast<int>(value));
}

void piecewiseGamma(Plane& gray, int split, float gammaLow, float gammaHigh)
{
    uint8_t table[256] = {};
    for (int i = 0; i < 256; ++i) {
        table[i] = gammaEntry(i, split, gammaLow, gammaHigh);
    }
    for (uint8_t& v : gray.px) {
        v = table[v];
    }
}

// ---------------------------------------------------------------- blur

std::vector<double> gaussianKernel1D(int size, double sigma)
{
    if (size % 2 == 0) {
        throw std::logic_error("model: Gaussian kernels have an odd size");
    }
    std::vector<double> kernel(static_cast<size_t>(size));
    const int half = size / 2;
    const double norm = 1.0 / (static_cast<double>(mySqrt(6.2831855f)) * sigma);
    for (int i = -half; i <= half; ++i) {
        const double exponent = (-0.5 * static_cast<double>(i * i)) / (sigma * sigma);
        kernel.at(static_cast<size_t>(i + half)) = norm * static_cast<double>(myExp(static_cast<float>(exponent)));
    }
    double sum = 0.0;
    for (int i = 0; i < size; ++i) {
        sum += kernel.at(static_cast<size_t>(i));
    }
    for (int i = 0; i < size; ++i) {
        kernel.at(static_cast<size_t>(i)) /= sum;
    }
    return kernel;
}

Plane convolve1D(const Plane& source, const std::vector<double>& kernel, bool horizontal)
{
    Plane out = source;
    const int half = static_cast<int>(kernel.size()) / 2;
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            double sum = 0.0;
            for (int j = -half; j <= half; ++j) {
                const int xx = horizontal ? std::min(std::max(x + j, 0), source.width - 1) : x;
                const int yy = horizontal ? y : std::min(std::max(y + j, 0), source.height - 1);
                sum += static_cast<double>(source.at(xx, yy)) * kernel.at(static_cast<size_t>(j + half));
            }
            out.at(x, y) = static_cast<uint8_t>(myRound(static_cast<float>(sum)));
        }
    }
    return out;
}

Plane gaussianBlur(const Plane& source, int size, double sigma)
{
    const std::vector<double> kernel = gaussianKernel1D(size, sigma);
    const Plane across = convolve1D(source, kernel, true);
    return convolve1D(across, kernel, false);
}

Plane addWeighted(const Plane& a, const Plane& b, float weight)
{
    Plane out = a;
    for (size_t i = 0; i < a.px.size(); ++i) {
        const float v = (static_cast<float>(a.px.at(i)) * (1 + weight) + static_cast<float>(b.px.at(i)) * (-weight)) +
                        0.0f;
        const int r = myRound(v);
        out.px.at(i) = static_cast<uint8_t>(r < 0 ? 0 : (r < 255 ? r : 255));
    }
    return out;
}

Plane unsharpMask(const Plane& source, float amountPercent, int size)
{
    const float weight = amountPercent / 100;
    const Plane blurred = gaussianBlur(source, size, 3.0);
    return addWeighted(source, blurred, weight);
}

// ---------------------------------------------------------------- diffusion

Plane errorDiffusion(const Plane& source, int threshold)
{
    const int w = source.width;
    const int h = source.height;
    Plane out(w, h);
    std::vector<float> error(static_cast<size_t>(w) * static_cast<size_t>(h), 0.0f);
    struct Target {
        int dx;
        int dy;
        float weight;
    };
    static const Target targets[6] = {{1, 0, 0.505786f},  {2, 0, -0.052926f}, {-2, 1, 0.226194f},
                                      {-1, 1, 0.128835f}, {0, 1, 0.243191f},  {1, 1, -0.111078f}};
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const size_t i = static_cast<size_t>(y) * w + x;
            const float v = error.at(i) + static_cast<float>(source.px.at(i));
            float e;
            if (v > static_cast<float>(threshold)) {
                out.px.at(i) = 255;
                if (y >= 1 && x >= 1 && y < h - 1 && x < w - 1) {
                    float s = 0.0f;
                    if (out.px.at(i - 1) == 0) {
                        s += 0.1427f;
                    }
                    if (out.px.at(i - w) == 0) {
                        s += 0.1427f;
                    }
                    e = (1 - s) * (-255) + v;
                } else {
                    e = v - 255;
                }
            } else {
                out.px.at(i) = 0;
                e = v;
            }
            float products[6];
            for (int k = 0; k < 6; ++k) {
                products[k] = e * targets[k].weight;
            }
            for (int k = 0; k < 6; ++k) {
                const int tx = x + targets[k].dx;
                const int ty = y + targets[k].dy;
                if (tx >= 0 && tx < w && ty >= 0 && ty < h) {
                    error.at(static_cast<size_t>(ty) * w + tx) += products[k];
                }
            }
        }
    }
    return out;
}

// ---------------------------------------------------------------- entry

Halftoned halftone(const Plane& source, bool q6)
{
    Halftoned result;
    if (source.width * source.height <= 0) {
        result.image = source;
        return result;
    }
    Plane gray = source;  // one byte per pixel already: the gray conversion copies
    result.threshold = momentThreshold(gray);
    if (q6) {
        piecewiseGamma(gray, result.threshold, 0.5f, 1.5f);
    } else {
        piecewiseGamma(gray, 64, 0.85f, 0.7f);
    }
    const Plane sharp = unsharpMask(gray, 300.0f, 11);
    result.image = errorDiffusion(sharp, result.threshold);
    return result;
}

}  // namespace tattoo
}  // namespace pageref
