// SPDX-License-Identifier: Apache-2.0
#include "HalvImageOps.h"

#include <utility>
#include <vector>

#include "halv/halvDither.h"
#include "halv/halvEnhance.h"

namespace {

// The gamma curve's split stays within -512..767: the curve raises i / split
// to a power, and my_ln of values below about 1e-3 takes up to millions of
// steps (its documented slow band, bounded by kHalvLnMaxSteps).
int gammaSplit(FuzzBytes& params)
{
    return -512 + params.value<uint16_t>() % 1280;
}

void tattoo(FuzzBytes& params, HalvImage& image, bool q6)
{
    const HalvImage result = q6 ? halvTattooDitheringQ6(image) : halvTattooDithering(image);
    if ((params.byte() & 1) != 0) {
        image = result;
    }
}

void gamma(FuzzBytes& params, HalvImage& image)
{
    const int split = gammaSplit(params);
    const float low = params.value<float>();
    enh_piecewise_gamma(image, split, low, params.value<float>());
}

void unsharpMask(FuzzBytes& params, HalvImage& image)
{
    const float amount = params.value<float>();
    image = enh_unsharp_mask(image, amount, params.value<int8_t>());
}

void gaussianFast(FuzzBytes& params, HalvImage& image)
{
    const int size = params.value<int8_t>();
    image = enh_gaussian_filter_fast(image, size, params.value<float>());
}

void gaussian(FuzzBytes& params, HalvImage& image)
{
    const int size = params.value<int8_t>() % 32;
    const double sigmaX = params.value<float>();
    image = enh_gaussian_filter(image, size, sigmaX, params.value<float>());
}

void convolve(FuzzBytes& params, HalvImage& image)
{
    const int size = params.value<int8_t>() % 32;
    std::vector<double> kernel(size > 0 ? static_cast<size_t>(size) : 0);
    generateGaussianKernel1D(size, params.value<float>(), kernel.data());
    image = convolve1D(image, kernel.data(), size, (params.byte() & 1) != 0);
}

void copies(FuzzBytes& params, HalvImage& image)
{
    HalvImage copy(image);
    HalvImage moved(std::move(copy));
    HalvImage& alias = image;
    image = alias;
    image = moved;
    if ((params.byte() & 1) != 0) {
        HalvImage taken(std::move(image));
    }
}

void fromDib(HalvImage& image, const DibImage& a)
{
    if (a.IsValid() && static_cast<uint64_t>(a.GetEffWidth()) * a.GetHeight() <= kMaxToolkitBytes) {
        image =
            HalvImage(static_cast<int>(a.GetEffWidth()), static_cast<int>(a.GetHeight()), HALV_IMG_GRAY, a.GetBits(0));
    }
}

}  // namespace

bool runHalvImageOp(ImageOp op, FuzzBytes& params, HalvImage& image, const DibImage& a)
{
    switch (op) {
    case ImageOp::Tattoo:
    case ImageOp::TattooQ6:
        tattoo(params, image, op == ImageOp::TattooQ6);
        return true;
    case ImageOp::CvtGray:
        image = cvtGray(image);
        return true;
    case ImageOp::Moments:
        thresh_global_moments(image);
        return true;
    case ImageOp::Diffuse:
        image = edf_cus(image, params.value<int32_t>());
        return true;
    case ImageOp::Gamma:
        gamma(params, image);
        return true;
    case ImageOp::UnsharpMask:
        unsharpMask(params, image);
        return true;
    case ImageOp::GaussianFast:
        gaussianFast(params, image);
        return true;
    case ImageOp::Gaussian:
        gaussian(params, image);
        return true;
    case ImageOp::Convolve:
        convolve(params, image);
        return true;
    case ImageOp::Weighted: {
        const HalvImage other(image);
        image = add_Weighted(image, other, params.value<float>());
        return true;
    }
    case ImageOp::Copies:
        copies(params, image);
        return true;
    case ImageOp::FromDib:
        fromDib(image, a);
        return true;
    default:
        return false;
    }
}
