#include "halv/halvDither.h"

#include "halv/halvEnhance.h"
#include "halv/halvMath.h"
#include "halv_literal.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <vector>

namespace {

// An image whose first pixels take the given values `count` times each, in
// one row.
HalvImage levels(std::vector<std::pair<int, int>> valueCounts)
{
    std::vector<uint8_t> px;
    for (auto [value, count] : valueCounts)
        px.insert(px.end(), static_cast<size_t>(count), static_cast<uint8_t>(value));
    return HalvImage(static_cast<int>(px.size()), 1, HALV_IMG_GRAY, px.data());
}

lit::Plane filled(int w, int h, uint8_t v)
{
    lit::Plane p(w, h);
    for (auto& b : p.px)
        b = v;
    return p;
}

}  // namespace

TEST(HalvDither, MomentThresholdExamples)
{
    EXPECT_EQ(thresh_global_moments(levels({{0, 50}, {255, 50}})), 255);  // cumulative 0.5 is not > 0.5
    EXPECT_EQ(thresh_global_moments(levels({{40, 50}, {200, 50}})), 200);
    EXPECT_EQ(thresh_global_moments(levels({{0, 30}, {255, 70}})), 0);
    std::vector<std::pair<int, int>> ramp;
    for (int v = 0; v < 256; ++v)
        ramp.push_back({v, 3});
    EXPECT_EQ(thresh_global_moments(levels(ramp)), 128);
    EXPECT_EQ(thresh_global_moments(levels({{93, 1000}})), 128);  // one level: NaN discriminant
    const lit::Plane page = lit::photo(301, 233);
    EXPECT_EQ(thresh_global_moments(lit::toImage(page)), lit::thresh(page));
    // Two- and three-level images put p0 right at a cumulative share, where
    // the precision of every moment decides the level.
    for (int a = 0; a < 256; a += 3)
        for (int b = a + 1; b < 256; b += 2)
            for (int n : {1, 2, 3}) {
                lit::Plane p(n + 3, 1);
                for (int i = 0; i < n + 3; ++i)
                    p.px[i] = static_cast<uint8_t>(i < n ? a : (i < n + 2 ? b : (a + b) / 2));
                ASSERT_EQ(thresh_global_moments(lit::toImage(p)), lit::thresh(p)) << a << " " << b << " " << n;
            }
}

TEST(HalvDither, GrayConversionOfEveryColour)
{
    std::vector<uint8_t> cube(size_t{1} << 24 << 2);  // every 24-bit colour, then the same with alpha
    for (uint32_t c = 0; c < (1u << 24); ++c) {
        cube[3 * c] = static_cast<uint8_t>(c);
        cube[3 * c + 1] = static_cast<uint8_t>(c >> 8);
        cube[3 * c + 2] = static_cast<uint8_t>(c >> 16);
    }
    for (HALV_IMG_COLOR color : {HALV_IMG_BGR, HALV_IMG_RGB}) {
        HalvImage img(4096, 4096, color, cube.data());
        EXPECT_EQ(lit::bytes(cvtGray(img)), lit::gray(img).px) << "color " << color;
    }
    for (HALV_IMG_COLOR color : {HALV_IMG_BGRA, HALV_IMG_RGBA, static_cast<HALV_IMG_COLOR>(6)}) {
        HalvImage img(1024, 3072, color, cube.data());
        EXPECT_EQ(lit::bytes(cvtGray(img)), lit::gray(img).px) << "color " << color;
    }
    const lit::Plane page = lit::photo(30, 20);
    HalvImage gray = cvtGray(lit::toImage(page));
    EXPECT_EQ(gray.color, HALV_IMG_GRAY);
    EXPECT_EQ(lit::bytes(gray), page.px);
}

TEST(HalvDither, DiffusionMatchesAFullPageOfErrors)
{
    const std::pair<int, int> shapes[] = {{301, 233}, {1, 1}, {1, 9}, {9, 1}, {2, 2}, {3, 3}, {4, 3}};
    for (auto [w, h] : shapes) {
        const lit::Plane page = lit::unsharp(lit::photo(w, h), 300.0f, 11);
        for (int t : {-1, 0, 64, 128, 200, 255})
            EXPECT_EQ(lit::bytes(edf_cus(lit::toImage(page), t)), lit::edf(page, t).px)
                << w << "x" << h << " threshold " << t;
    }
}

TEST(HalvDither, EntryPointsMatchTheLiteralChain)
{
    const lit::Plane page = lit::photo(301, 233, 777);
    HalvImage src = lit::toImage(page);
    HalvImage plain = halvTattooDithering(src);
    HalvImage q6 = halvTattooDitheringQ6(src);
    EXPECT_EQ(lit::bytes(src), page.px);  // the source is left alone
    EXPECT_EQ(plain.color, HALV_IMG_GRAY);
    EXPECT_EQ(plain.width, 301);
    EXPECT_EQ(plain.height, 233);
    EXPECT_EQ(lit::bytes(plain), lit::tattoo(src, false).px);
    EXPECT_EQ(lit::bytes(q6), lit::tattoo(src, true).px);
    EXPECT_NE(lit::bytes(plain), lit::bytes(q6));

    // A colour source goes through the gray conversion first.
    std::vector<uint8_t> bgra(page.px.size() * 4);
    for (size_t i = 0; i < page.px.size(); ++i)
        for (int c = 0; c < 4; ++c)
            bgra[4 * i + c] = static_cast<uint8_t>(page.px[i] + 40 * c);
    HalvImage color(301, 233, HALV_IMG_BGRA, bgra.data());
    EXPECT_EQ(lit::bytes(halvTattooDitheringQ6(color)), lit::tattoo(color, true).px);
}

// One pixel of every stage worked out in the test, in the stated precision.
TEST(HalvDither, HandComputedPixels)
{
    const lit::Plane page = lit::photo(64, 48, 99);
    HalvImage g = lit::toImage(page);
    enh_piecewise_gamma(g, 64, 0.85f, 0.7f);
    for (int i : {100, 1500, 2900}) {
        const int v = page.px[i];
        const float f = v < 64 ? my_pow(static_cast<float>(v) / 64.0f, 0.85f) * 64.0f
                               : my_pow((static_cast<float>(v) - 64.0f) / 191.0f, 0.7f) * 191.0f + 64.0f;
        EXPECT_EQ(g.data[i], static_cast<uint8_t>(static_cast<int>(f))) << "gamma of " << v;
    }
    std::vector<double> k(11);
    generateGaussianKernel1D(11, 3.0, k.data());
    const HalvImage blurred = enh_gaussian_filter_fast(g, 11, 3.0);
    const HalvImage sharp = enh_unsharp_mask(g, 300.0f, 11);
    auto G = [&](int x, int y) { return static_cast<double>(g.data[y * 64 + x]); };
    for (auto [x0, y0] : {std::pair<int, int>{20, 20}, {40, 30}, {2, 45}}) {
        double column = 0.0;
        for (int r = -5; r <= 5; ++r) {
            const int y = myClamp(y0 + r, 0, 47);
            double row = 0.0;
            for (int j = -5; j <= 5; ++j)
                row += G(myClamp(x0 + j, 0, 63), y) * k[j + 5];
            column += static_cast<double>(static_cast<uint8_t>(my_round(static_cast<float>(row)))) * k[r + 5];
        }
        const int b = my_round(static_cast<float>(column));
        EXPECT_EQ(blurred.data[y0 * 64 + x0], b);
        const float s = (static_cast<float>(G(x0, y0)) * 4.0f + static_cast<float>(b) * -3.0f) + 0.0f;
        EXPECT_EQ(sharp.data[y0 * 64 + x0], myClamp(my_round(s), 0, 255));
    }
    // The first row of the diffusion: only the two right-hand neighbours on
    // the row carry error forward, added in scan order, border rule throughout.
    const HalvImage out = edf_cus(sharp, 128);
    float cell[66] = {};
    for (int x = 0; x < 64; ++x) {
        const float v = cell[x] + static_cast<float>(sharp.data[x]);
        const bool white = v > 128.0f;
        const float e = white ? v - 255.0f : v;
        EXPECT_EQ(out.data[x], white ? 255 : 0) << "pixel " << x;
        const float p0 = e * 0.505786f;
        const float p1 = e * -0.052926f;
        cell[x + 1] += p0;
        cell[x + 2] += p1;
    }
}

TEST(HalvDither, DegeneratePagesFinish)
{
    const auto start = std::chrono::steady_clock::now();
    HalvImage none(0, 7, HALV_IMG_BGR);
    HalvImage copy = halvTattooDithering(none);
    EXPECT_EQ(copy.height, 7);
    EXPECT_EQ(copy.color, HALV_IMG_BGR);  // a plain copy, not converted

    for (bool q6 : {false, true}) {
        auto run = [q6](const lit::Plane& p) {
            HalvImage src = lit::toImage(p);
            return lit::bytes(q6 ? halvTattooDitheringQ6(src) : halvTattooDithering(src));
        };
        EXPECT_EQ(run(filled(50, 40, 255)), filled(50, 40, 255).px);  // white stays white
        EXPECT_EQ(run(filled(50, 40, 0)), filled(50, 40, 0).px);
        std::vector<lit::Plane> pages = {filled(50, 40, 100), lit::photo(1, 60), lit::photo(60, 1)};
        lit::Plane halves(50, 40);  // equal parts of 0 and 255: threshold 255
        for (int i = 0; i < 2000; ++i)
            halves.px[i] = i % 50 < 25 ? 0 : 255;
        lit::Plane mostly3 = filled(20, 20, 3);  // 95 % gray 3, 5 % white: threshold 255
        for (int i = 0; i < 20; ++i)
            mostly3.px[i * 20] = 255;
        ASSERT_EQ(thresh_global_moments(lit::toImage(halves)), 255);
        ASSERT_EQ(thresh_global_moments(lit::toImage(mostly3)), 255);
        pages.push_back(halves);
        pages.push_back(mostly3);
        for (const lit::Plane& p : pages)
            EXPECT_EQ(run(p), lit::tattoo(lit::toImage(p), q6).px) << p.w << "x" << p.h << (q6 ? " Q6" : "");
    }
    EXPECT_EQ(thresh_global_moments(lit::toImage(filled(20, 20, 3))), 128);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}
