// SPDX-License-Identifier: Apache-2.0
#include "halv/halvEnhance.h"

#include "halv/halvMath.h"
#include "halv/halvRows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

using halv_detail::BlurStream;
using halv_detail::Taps;

namespace {

std::vector<double> gaussianKernel1D(int size, double sigma)
{
    std::vector<double> kernel(static_cast<size_t>(size > 0 ? size : 0));
    generateGaussianKernel1D(size, sigma, kernel.data());
    return kernel;
}

// Rows of a gray image straight from its buffer.
BlurStream::Fetch rowsOf(const HalvImage& img)
{
    const uint8_t* data = img.data;
    const size_t w = static_cast<size_t>(img.width);
    return [data, w](int row, uint8_t*) { return data + static_cast<size_t>(row) * w; };
}

}  // namespace

void enh_piecewise_gamma(HalvImage& img, int split, float gammaLow, float gammaHigh)
{
    uint8_t lut[256] = {};
    halv_detail::buildGammaLut(split, gammaLow, gammaHigh, lut);
    const size_t n = halv_detail::pixelCount(img);
    uint8_t* p = img.data;
    for (size_t i = 0; i < n; ++i) {
        p[i] = lut[p[i]];
    }
}

void generateGaussianKernel1D(int size, double sigma, double* kernel)
{
    if (size <= 0) {
        return;
    }
    const int half = size / 2;
    const double norm = 1.0 / (static_cast<double>(my_sqrt(6.2831855f)) * sigma);
    // An even size has one offset more than entries; the last one is left out.
    for (int i = -half; i <= half && i + half < size; ++i) {
        kernel[i + half] =
            norm *
            static_cast<double>(my_exp(static_cast<float>((-0.5 * static_cast<double>(i * i)) / (sigma * sigma))));
    }
    double sum = 0.0;
    for (int k = 0; k < size; ++k) {
        sum += kernel[k];
    }
    for (int k = 0; k < size; ++k) {
        kernel[k] /= sum;
    }
}

HalvImage convolve1D(const HalvImage& src, const double* kernel, int size, bool horizontal)
{
    HalvImage out = halv_detail::imageToOverwrite(src);
    if (halv_detail::pixelCount(src) == 0) {
        return out;
    }
    const int w = src.width;
    const int h = src.height;
    const Taps taps = halv_detail::tapsOf(kernel, size);
    const size_t ws = static_cast<size_t>(w);
    if (horizontal) {
        std::vector<double> pad(ws + static_cast<size_t>(taps.count));
        std::vector<const double*> rows(static_cast<size_t>(taps.count));
        for (int y = 0; y < h; ++y) {
            const size_t off = static_cast<size_t>(y) * ws;
            halv_detail::hblurRow(src.data + off, w, taps, pad.data(), rows.data(), out.data + off);
        }
        return out;
    }
    BlurStream stream(w, h, taps, false, rowsOf(src));
    for (int y = 0; y < h; ++y) {
        const uint8_t* row = stream.next();
        std::copy(row, row + ws, out.data + static_cast<size_t>(y) * ws);
    }
    return out;
}

HalvImage enh_gaussian_filter_fast(const HalvImage& src, int size, double sigma)
{
    const std::vector<double> kernel = gaussianKernel1D(size, sigma);
    HalvImage out = halv_detail::imageToOverwrite(src);
    if (halv_detail::pixelCount(src) == 0) {
        return out;
    }
    // Both passes in one sweep: the horizontal pass of a row is computed (and
    // rounded to bytes) once, and kept only while the vertical window needs
    // it, instead of in a whole intermediate image.
    const size_t ws = static_cast<size_t>(src.width);
    BlurStream stream(src.width, src.height, halv_detail::tapsOf(kernel.data(), size), true, rowsOf(src));
    for (int y = 0; y < src.height; ++y) {
        const uint8_t* row = stream.next();
        std::copy(row, row + ws, out.data + static_cast<size_t>(y) * ws);
    }
    return out;
}

void generateGaussianKernel(int size, double sigmaX, double sigmaY, double* kernel)
{
    if (size <= 0) {
        return;
    }
    const int hx = size / 2;
    const int hy = size / 2;
    const double norm = 1.0 / ((6.283185307179586 * sigmaX) * sigmaY);
    // With an even size only the offsets that have an entry are filled.
    for (int y = -hy; y <= hy && y + hy < size; ++y) {
        for (int x = -hx; x <= hx && x + hx < size; ++x) {
            const double arg = static_cast<double>(-(x * x)) / ((2.0 * sigmaX) * sigmaX) -
                               static_cast<double>(y * y) / ((2.0 * sigmaY) * sigmaY);
            kernel[(y + hy) * size + (x + hx)] = norm * static_cast<double>(my_exp(static_cast<float>(arg)));
        }
    }
    const size_t n = static_cast<size_t>(size) * static_cast<size_t>(size);
    double sum = 0.0;
    for (size_t k = 0; k < n; ++k) {
        sum += kernel[k];
    }
    for (size_t k = 0; k < n; ++k) {
        kernel[k] /= sum;
    }
}

HalvImage enh_gaussian_filter(const HalvImage& src, int size, double sigmaX, double sigmaY)
{
    HalvImage out(src.width, src.height, HALV_IMG_GRAY);
    if (halv_detail::pixelCount(src) == 0) {
        return out;
    }
    const int h = size / 2;
    const size_t side = static_cast<size_t>(size > 0 ? size : 0);
    std::vector<double> kernel(side * side);
    generateGaussianKernel(size, sigmaX, sigmaY, kernel.data());
    const int w = src.width;
    const int ht = src.height;
    const int last = size - 1 - h;  // h for odd sizes; no taps at all for size <= 0
    for (int y = 0; y < ht; ++y) {
        for (int x = 0; x < w; ++x) {
            double sum = 0.0;
            for (int ky = -h; ky <= last; ++ky) {
                const size_t row = static_cast<size_t>(myClamp(y + ky, 0, ht - 1)) * static_cast<size_t>(w);
                for (int kx = -h; kx <= last; ++kx) {
                    const int xx = myClamp(x + kx, 0, w - 1);
                    sum += static_cast<double>(src.data[row + static_cast<size_t>(xx)]) *
                           kernel[static_cast<size_t>((ky + h) * size + (kx + h))];
                }
            }
            out.data[static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x)] =
                static_cast<uint8_t>(my_round(static_cast<float>(sum)));
        }
    }
    return out;
}

HalvImage add_Weighted(const HalvImage& a, const HalvImage& b, float weight)
{
    HalvImage out = halv_detail::imageToOverwrite(a);
    halv_detail::addWeightedRow(a.data, b.data, halv_detail::pixelCount(a), weight, out.data);
    return out;
}

HalvImage enh_unsharp_mask(const HalvImage& src, float amountPercent, int size)
{
    const float weight = amountPercent / 100;
    const std::vector<double> kernel = gaussianKernel1D(size, 3.0);
    HalvImage out = halv_detail::imageToOverwrite(src);
    if (halv_detail::pixelCount(src) == 0) {
        return out;
    }
    // The blurred image only ever meets the source row by row: stream it.
    const size_t ws = static_cast<size_t>(src.width);
    BlurStream stream(src.width, src.height, halv_detail::tapsOf(kernel.data(), size), true, rowsOf(src));
    for (int y = 0; y < src.height; ++y) {
        const size_t off = static_cast<size_t>(y) * ws;
        halv_detail::addWeightedRow(src.data + off, stream.next(), ws, weight, out.data + off);
    }
    return out;
}
