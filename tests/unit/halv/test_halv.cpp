// SPDX-License-Identifier: Apache-2.0
// The tattoo toolkit on examples worked out by hand, the bounds of its
// endless loops, and its stages at their limits against the literal model.
#include "halv/halvDither.h"
#include "halv/halvEnhance.h"
#include "halv/halvMath.h"

#include "FilterProcess.h"
#include "TattooReference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <numeric>

namespace ref = pageref::tattoo;

namespace {

// The photo-like page of the filter's tests.
ref::Plane photo(int w, int h, uint32_t seed = 12345)
{
    ref::Plane p(w, h);
    p.px = korvotest::grayPage(unsigned(w), unsigned(h), 300, korvotest::photoShade(seed)).pixels;
    return p;
}

ref::Plane row(std::vector<uint8_t> px)
{
    ref::Plane p(int(px.size()), 1);
    p.px = px;
    return p;
}
ref::Plane ramp()
{
    ref::Plane p(256, 1);
    std::iota(p.px.begin(), p.px.end(), 0);
    return p;
}
HalvImage image(const ref::Plane& p)
{
    return {p.width, p.height, HALV_IMG_GRAY, const_cast<uint8_t*>(p.px.data())};
}
std::vector<uint8_t> bytes(const HalvImage& i)
{
    return {i.data, i.data + size_t(i.width) * i.height};
}
}  // namespace

// The loop bounds never cut a result short: the slowest inputs, from ln's
// 2^24 steps at 0x1.78b56p-26 to sqrt's 68 at the largest float, end where
// the model's unbounded loops end.
TEST(HalvMath, LoopBoundsLeaveTheSlowestInputsAlone)
{
    for (const float x : {0x1.78b56p-26f, 1e-3f, 0.5f, 3.0f, FLT_MAX}) {
        EXPECT_EQ(my_ln(x), ref::myLn(x)) << x;
    }
    for (const float x : {FLT_MAX, FLT_MIN, 1e-10f, 2.0f}) {
        EXPECT_EQ(my_sqrt(x), ref::mySqrt(x)) << x;
    }
}

TEST(HalvTattoo, WorkedExamples)
{
    HalvImage lut = image(ramp());
    enh_piecewise_gamma(lut, 64, 0.85f, 0.7f);
    const int entries[][2] = {{0, 0}, {1, 1}, {2, 3}, {63, 63}, {64, 64}, {65, 68}, {128, 152}, {254, 254}, {255, 255}};
    for (auto [in, out] : entries) {
        EXPECT_EQ(lut.data[in], out) << "entry " << in;
    }
    auto levels = [](std::vector<std::pair<int, int>> parts) {
        std::vector<uint8_t> px;
        for (auto [value, count] : parts) {
            px.insert(px.end(), count, uint8_t(value));
        }
        return thresh_global_moments(image(row(px)));
    };
    EXPECT_EQ(levels({{0, 50}, {255, 50}}), 255);  // the share at 0 is 0.5, not above p0 = 0.5
    EXPECT_EQ(levels({{40, 50}, {200, 50}}), 200);
    EXPECT_EQ(levels({{0, 30}, {255, 70}}), 0);
    EXPECT_EQ(thresh_global_moments(image(ramp())), 128);
    EXPECT_EQ(levels({{93, 1000}}), 128);  // one level: a NaN discriminant
    // 4a - 3b: 1020 and -765 clamp, 400 - 270 does not.
    EXPECT_EQ(bytes(add_Weighted(image(row({255, 0, 100})), image(row({0, 255, 90})), 3.0f)), row({255, 0, 130}).px);
    const ref::Plane column = photo(1, 40);  // each horizontal tap reads the pixel itself
    EXPECT_EQ(bytes(convolve1D(image(column), ref::gaussianKernel1D(11, 3.0).data(), 11, true)), column.px);
    const ref::Plane flat = row(std::vector<uint8_t>(300, 77));
    EXPECT_EQ(bytes(enh_unsharp_mask(image(flat), 300.0f, 11)), flat.px);
}

// The gamma curve at every split the threshold can give and the diffusion
// at the extreme thresholds. (Whole pages go through the filter:
// TattooPages in tests/process/test_printer_stream.cpp.)
TEST(HalvTattoo, StagesAtTheirLimitsAsTheModel)
{
    const ref::Plane page = photo(301, 233, 777);
    for (auto [low, high] : {std::pair{0.85f, 0.7f}, {0.5f, 1.5f}}) {
        for (int split = -1; split <= 255; ++split) {  // every split the threshold can give
            ref::Plane expect = ramp();
            HalvImage lut = image(expect);
            ref::piecewiseGamma(expect, split, low, high);
            enh_piecewise_gamma(lut, split, low, high);
            ASSERT_EQ(bytes(lut), expect.px) << "split " << split << ", " << low << " and " << high;
        }
    }
    const ref::Plane sharp = ref::unsharpMask(page, 300.0f, 11);
    for (int threshold : {-1, 0, 255}) {
        EXPECT_EQ(bytes(edf_cus(image(sharp), threshold)), ref::errorDiffusion(sharp, threshold).px) << threshold;
    }
}
