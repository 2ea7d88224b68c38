// SPDX-License-Identifier: Apache-2.0
#include "halv/halvDither.h"

#include "common/KorvoCancel.h"
#include "halv/halvEnhance.h"
#include "halv/halvMath.h"
#include "halv/halvRows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace {

struct TattooSettings {
    bool splitAtThreshold;  // gamma split at the moment threshold, else at 64
    float gammaLow;
    float gammaHigh;
};

constexpr TattooSettings kTattoo{false, 0.85f, 0.7f};
constexpr TattooSettings kTattooQ6{true, 0.5f, 1.5f};

// The pixel count as the 32-bit product of the dimensions: an image for which
// it is not positive, or with a negative dimension, is not halftoned.
bool halftoned(int width, int height)
{
    const int32_t product = static_cast<int32_t>(static_cast<uint32_t>(width) * static_cast<uint32_t>(height));
    return product > 0 && width > 0 && height > 0;
}

// The whole chain in one sweep over the rows of a gray image (rows w bytes
// apart), into rows outStride bytes apart. Stage by stage it computes
// gamma(gray) -> enh_unsharp_mask(.., 300, 11) -> edf_cus(.., t), with t the
// moment threshold of the gray image before the gamma, but nothing else is
// page-sized: the blur keeps a window of 11 rows, the diffusion two rows of
// errors.
void tattooRows(const uint8_t* gray, int w, int h, const TattooSettings& settings, uint8_t* out, size_t outStride)
{
    const size_t ws = static_cast<size_t>(w);
    const size_t n = ws * static_cast<size_t>(h);
    const int t = halv_detail::momentThreshold(gray, n);

    uint8_t lut[256] = {};
    halv_detail::buildGammaLut(settings.splitAtThreshold ? t : 64, settings.gammaLow, settings.gammaHigh, lut);

    const int taps = 11;
    const float amountPercent = 300.0f;
    const float weight = amountPercent / 100;
    std::vector<double> kernel(static_cast<size_t>(taps));
    generateGaussianKernel1D(taps, 3.0, kernel.data());

    halv_detail::BlurStream blur(w, h, halv_detail::tapsOf(kernel.data(), taps), true,
                                 [gray, ws, &lut](int row, uint8_t* scratch) {
                                     const uint8_t* in = gray + static_cast<size_t>(row) * ws;
                                     for (size_t x = 0; x < ws; ++x) {
                                         scratch[x] = lut[in[x]];
                                     }
                                     return static_cast<const uint8_t*>(scratch);
                                 });
    std::vector<uint8_t> sharp(2 * ws);
    halv_detail::EdfStream diffusion(w, h, static_cast<float>(t), out, outStride);
    for (int y = 0; y < h && !korvoJobCancelled(); y += 2) {
        const int rows = std::min(2, h - y);
        for (int r = 0; r < rows; ++r) {
            const uint8_t* blurred = blur.next();
            halv_detail::addWeightedRow(blur.source(y + r), blurred, ws, weight,
                                        sharp.data() + static_cast<size_t>(r) * ws);
        }
        diffusion.rows(sharp.data(), ws, rows);
    }
}

// An image that is not halftoned comes back as a plain copy.
HalvImage tattoo(const HalvImage& src, const TattooSettings& settings)
{
    if (!halftoned(src.width, src.height)) {
        return HalvImage(src);
    }
    // The gray image: the source's own bytes when it is one already.
    std::optional<HalvImage> converted;
    const uint8_t* gray = src.data;
    if (!(src.color == HALV_IMG_GRAY && src.channels == 1)) {
        converted.emplace(cvtGray(src));
        gray = converted->data;
    }
    HalvImage out(src.width, src.height, HALV_IMG_GRAY);
    tattooRows(gray, src.width, src.height, settings, out.data, static_cast<size_t>(src.width));
    return out;
}

}  // namespace

HalvImage halvTattooDithering(HalvImage& src)
{
    return tattoo(src, kTattoo);
}

HalvImage halvTattooDitheringQ6(HalvImage& src)
{
    return tattoo(src, kTattooQ6);
}

void halvTattooInto(const uint8_t* gray, int width, int height, bool q6, uint8_t* out, size_t outStride)
{
    const size_t ws = static_cast<size_t>(width);
    if (halftoned(width, height)) {
        tattooRows(gray, width, height, q6 ? kTattooQ6 : kTattoo, out, outStride);
        return;
    }
    for (int y = 0; y < height; ++y) {
        std::copy(gray + static_cast<size_t>(y) * ws, gray + static_cast<size_t>(y + 1) * ws,
                  out + static_cast<size_t>(y) * outStride);
    }
}

HalvImage cvtGray(const HalvImage& src)
{
    HalvImage out(src.width, src.height, HALV_IMG_GRAY);
    const size_t n = halv_detail::pixelCount(src);
    const size_t step = static_cast<size_t>(src.channels);
    const uint8_t* in = src.data;
    if (src.color == HALV_IMG_GRAY) {
        for (size_t i = 0; i < n; ++i) {
            out.data[i] = in[i * step];
        }
        return out;
    }
    // Blue first (BGR, BGRA) or red first (every other format); the first
    // byte's weight is added first either way.
    const bool blueFirst = src.color == HALV_IMG_BGR || src.color == HALV_IMG_BGRA;
    const float k0 = blueFirst ? 0.114f : 0.299f;
    const float k1 = 0.587f;
    const float k2 = blueFirst ? 0.299f : 0.114f;
    for (size_t i = 0; i < n; ++i) {
        const uint8_t* p = in + i * step;
        const float v = (k0 * static_cast<float>(p[0]) + k1 * static_cast<float>(p[1])) + k2 * static_cast<float>(p[2]);
        out.data[i] = static_cast<uint8_t>(my_round(v));
    }
    return out;
}

int thresh_global_moments(const HalvImage& img)
{
    return halv_detail::momentThreshold(img.data, halv_detail::pixelCount(img));
}

HalvImage edf_cus(const HalvImage& src, int threshold)
{
    HalvImage out(src.width, src.height, HALV_IMG_GRAY);
    if (halv_detail::pixelCount(src) == 0) {
        return out;
    }
    const size_t ws = static_cast<size_t>(src.width);
    halv_detail::EdfStream diffusion(src.width, src.height, static_cast<float>(threshold), out.data, ws);
    for (int y = 0; y < src.height; y += 2) {
        diffusion.rows(src.data + static_cast<size_t>(y) * ws, ws, std::min(2, src.height - y));
    }
    return out;
}
