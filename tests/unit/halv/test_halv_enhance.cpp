#include "halv/halvEnhance.h"

#include "halv/halvMath.h"
#include "halv_literal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

HalvImage rampImage()
{
    std::vector<uint8_t> px(256);
    for (int i = 0; i < 256; ++i)
        px[i] = static_cast<uint8_t>(i);
    return HalvImage(256, 1, HALV_IMG_GRAY, px.data());
}

}  // namespace

TEST(HalvEnhance, TattooGammaTable)
{
    HalvImage lut = rampImage();
    enh_piecewise_gamma(lut, 64, 0.85f, 0.7f);
    const int expect[][2] = {{0, 0}, {1, 1}, {2, 3}, {63, 63}, {64, 64}, {65, 68}, {128, 152}, {254, 254}, {255, 255}};
    for (auto [in, out] : expect)
        EXPECT_EQ(lut.data[in], out) << "entry " << in;
    for (int i = 0; i < 256; ++i)
        EXPECT_GE(lut.data[i], i) << "entry " << i;
}

// Every split the moment threshold can give (-1 .. 255) with both gamma pairs.
// Split 255's last entry would divide 0 by 0: it is the split itself.
TEST(HalvEnhance, GammaTablesMatchTheLiteralCurve)
{
    const float gammas[][2] = {{0.85f, 0.7f}, {0.5f, 1.5f}};
    for (auto& g : gammas)
        for (int split = -1; split <= 255; ++split) {
            HalvImage lut = rampImage();
            enh_piecewise_gamma(lut, split, g[0], g[1]);
            for (int i = 0; i < 256; ++i)
                ASSERT_EQ(lut.data[i], lit::gammaEntry(i, split, g[0], g[1])) << "split " << split << " entry " << i;
            EXPECT_EQ(lut.data[255], 255);
        }
    HalvImage lut = rampImage();
    enh_piecewise_gamma(lut, 0, 0.5f, 1.5f);  // all upper segment: (i / 255)^1.5 * 255
    EXPECT_EQ(lut.data[0], 0);
    EXPECT_EQ(lut.data[128], static_cast<uint8_t>(static_cast<int>(my_pow(128.0f / 255.0f, 1.5f) * 255.0f)));
}

TEST(HalvEnhance, KernelMatchesTheLiteralSums)
{
    for (int size : {1, 3, 5, 11, 21})
        for (double sigma : {3.0, 1.5}) {
            std::vector<double> k(size);
            generateGaussianKernel1D(size, sigma, k.data());
            const std::vector<double> expect = lit::kernel1D(size, sigma);
            double sum = 0;
            for (int i = 0; i < size; ++i) {
                EXPECT_EQ(k[i], expect[i]) << size << " taps, entry " << i;
                EXPECT_EQ(k[i], k[size - 1 - i]);
                sum += k[i];
            }
            EXPECT_NEAR(sum, 1.0, 1e-12);
        }
}

TEST(HalvEnhance, BlurOfNarrowAndUniformImages)
{
    // One pixel wide: every horizontal tap reads the same pixel.
    lit::Plane column = lit::photo(1, 40);
    const std::vector<double> k = lit::kernel1D(11, 3.0);
    EXPECT_EQ(lit::bytes(convolve1D(lit::toImage(column), k.data(), 11, true)), column.px);
    EXPECT_EQ(lit::bytes(enh_gaussian_filter_fast(lit::toImage(column), 11, 3.0)),
              lit::conv1D(column, k, false).px);

    lit::Plane flat(37, 23);
    for (auto& v : flat.px)
        v = 77;
    EXPECT_EQ(lit::bytes(enh_gaussian_filter_fast(lit::toImage(flat), 11, 3.0)), flat.px);
    EXPECT_EQ(lit::bytes(enh_unsharp_mask(lit::toImage(flat), 300.0f, 11)), flat.px);
    EXPECT_EQ(lit::bytes(enh_gaussian_filter(lit::toImage(flat), 5, 2.0, 1.0)), flat.px);
}

TEST(HalvEnhance, AddWeightedClamps)
{
    unsigned char a[3] = {255, 0, 100};
    unsigned char b[3] = {0, 255, 90};
    HalvImage out = add_Weighted(HalvImage(3, 1, HALV_IMG_GRAY, a), HalvImage(3, 1, HALV_IMG_GRAY, b), 3.0f);
    EXPECT_EQ(out.data[0], 255);  // 1020 before the clamp
    EXPECT_EQ(out.data[1], 0);    // -765
    EXPECT_EQ(out.data[2], 130);  // 400 - 270
}

TEST(HalvEnhance, StagesMatchTheLiteralReading)
{
    const std::pair<int, int> shapes[] = {{301, 233}, {1, 1}, {1, 9}, {9, 1}, {2, 3}, {6, 5}};
    for (auto [w, h] : shapes) {
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        lit::Plane page = lit::photo(w, h);
        lit::gamma(page, 64, 0.85f, 0.7f);
        const HalvImage img = lit::toImage(page);
        for (int size : {3, 11}) {
            const std::vector<double> k = lit::kernel1D(size, 3.0);
            EXPECT_EQ(lit::bytes(convolve1D(img, k.data(), size, true)), lit::conv1D(page, k, true).px);
            EXPECT_EQ(lit::bytes(convolve1D(img, k.data(), size, false)), lit::conv1D(page, k, false).px);
            EXPECT_EQ(lit::bytes(enh_gaussian_filter_fast(img, size, 3.0)), lit::blur(page, size, 3.0).px);
            EXPECT_EQ(lit::bytes(enh_unsharp_mask(img, 300.0f, size)), lit::unsharp(page, 300.0f, size).px);
        }
        const lit::Plane blurred = lit::blur(page, 11, 3.0);
        for (float weight : {3.0f, 0.7f, 1.3f})
            EXPECT_EQ(lit::bytes(add_Weighted(img, lit::toImage(blurred), weight)),
                      lit::addW(page, blurred, weight).px);
    }
}
