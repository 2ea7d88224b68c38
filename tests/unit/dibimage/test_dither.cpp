// DibImage::Dither against a literal per-pixel reference of every method,
// plus the documented examples.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "RefRaster.h"
#include "dibimage/DibImage.h"

namespace {

struct Tap {
    long dx, dy, weight;
};
struct Kernel {
    long divisor;
    std::vector<Tap> taps;
};

const Kernel kFloyd{16, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}};
const Kernel kBurkes{32, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2}}};
const Kernel kStucki{42, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2},
                          {-2, 2, 1}, {-1, 2, 2}, {0, 2, 4}, {1, 2, 2}, {2, 2, 1}}};
const Kernel kJarvis{48, {{1, 0, 7}, {2, 0, 5}, {-2, 1, 3}, {-1, 1, 5}, {0, 1, 7}, {1, 1, 5}, {2, 1, 3},
                          {-2, 2, 1}, {-1, 2, 3}, {0, 2, 5}, {1, 2, 3}, {2, 2, 1}}};
const Kernel kSierra{32, {{1, 0, 5}, {2, 0, 3}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 5}, {1, 1, 4}, {2, 1, 2},
                          {-1, 2, 2}, {0, 2, 3}, {1, 2, 2}}};
const Kernel kStevenson{200, {{2, 0, 32}, {-3, 1, 12}, {-1, 1, 26}, {1, 1, 30}, {3, 1, 16}, {-2, 2, 12},
                              {0, 2, 26}, {2, 2, 12}, {-3, 3, 5}, {-1, 3, 12}, {1, 3, 12}, {3, 3, 5}}};

// The method applied word for word: scan order, checked neighbour reads and
// writes on the input, per-neighbour clamping, 64-bit truncating division.
Raster referenceDither(Raster in, long method)
{
    Raster out(in.w, in.h, 1);
    out.pal[1] = RGBQUAD{255, 255, 255, 0};

    const Kernel* kernel = nullptr;
    switch (method) {
    case 0: case 1: case 7: break;
    case 2: kernel = &kBurkes; break;
    case 3: kernel = &kStucki; break;
    case 4: kernel = &kJarvis; break;
    case 5: kernel = &kSierra; break;
    case 6: kernel = &kStevenson; break;
    default: kernel = &kFloyd; break;
    }

    // Bayer table of order 4: 256 entries generated bit by bit.
    const int order = 4;
    std::vector<uint8_t> bayer(1 << (2 * order));
    for (int i = 0; i < static_cast<int>(bayer.size()); ++i) {
        int a = i / order, b = i % order, value = 0;
        for (int n = 0; n < order; ++n) {
            value = (((value << 1) | ((a & 1) ^ (b & 1))) << 1) | (b & 1);
            a >>= 1;
            b >>= 1;
        }
        bayer[i] = static_cast<uint8_t>(value);
    }
    const int matrix[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    const int levels[2] = {0, 1};

    for (long y = 0; y < in.h; ++y)
        for (long x = 0; x < in.w; ++x) {
            const int g = in.blindGet(x, y);
            if (method == 0) {
                out.set(x, y, g < 129 ? 0 : 255);
            } else if (method == 1) {
                const int d = ((g & 0xFF) * 16) / 255;
                const int low = d % 16, high = d / 16;
                out.set(x, y, matrix[y % 4][x % 4] < low ? levels[high + 1] : levels[high]);
            } else if (method == 7) {
                out.set(x, y, (g >> 0) > bayer[x % order + order * (y % order)] ? 1 : 0);
            } else {
                long long err;
                if (g < 129) {
                    out.set(x, y, 0);
                    err = g;
                } else {
                    out.set(x, y, 1);
                    err = g - 255;
                }
                for (const Tap& t : kernel->taps) {
                    long long v = in.get(x + t.dx, y + t.dy);
                    v += (err * t.weight) / kernel->divisor;
                    v = v < 0 ? 0 : v > 255 ? 255 : v;
                    in.set(x + t.dx, y + t.dy, static_cast<int>(v));
                }
            }
        }
    return out;
}

Raster runDither(const Raster& src, long method)
{
    DibImage img;
    load(img, src);
    EXPECT_TRUE(img.Dither(method));
    return snapshot(img);
}

TEST(DibDither, EveryMethodMatchesTheLiteralReference)
{
    const long widths[] = {1, 2, 3, 5, 7, 8, 13, 16, 33};
    const long heights[] = {1, 3, 10};
    for (long method = -1; method <= 8; ++method)
        for (long w : widths)
            for (long h : heights)
                for (int pattern = 0; pattern < 5; ++pattern) {
                    const Raster src = grayImage(w, h, pattern, static_cast<unsigned>(w * 1000 + h * 10 + pattern));
                    SCOPED_TRACE(::testing::Message() << "method " << method << " size " << w << "x" << h
                                                      << " pattern " << pattern);
                    expectSameRaster(runDither(src, method), referenceDither(src, method));
                }
}

TEST(DibDither, LargerImagesFourBitSourcesAndOtherMethodNumbers)
{
    // 4-bit sources keep every diffused level in a nibble.
    const Raster images[] = {grayImage(203, 41, 0, 77), grayImage(101, 37, 1, 78), grayImage(64, 40, 0, 5, 4),
                             grayImage(64, 40, 4, 6, 4)};
    for (const Raster& src : images)
        for (long method : {0L, 1L, 2L, 3L, 4L, 5L, 6L, 7L, 100L, -5L, 1L << 40}) {
            SCOPED_TRACE(::testing::Message() << "method " << method << " size " << src.w << "x" << src.h << " bpp "
                                              << src.bpp);
            expectSameRaster(runDither(src, method), referenceDither(src, method));
        }
}

Raster rowOf(std::vector<int> levels)
{
    Raster r(static_cast<long>(levels.size()), 1, 8);
    for (size_t x = 0; x < levels.size(); ++x)
        r.set(static_cast<long>(x), 0, levels[x]);
    return r;
}

TEST(DibDither, ThresholdAndFloydSteinbergExamples)
{
    EXPECT_EQ(runDither(rowOf({128, 129}), 0).bits[0], 0x40);  // 128 black, 129 white
    // 128 prints black and carries 128 * 7 / 16 = 56 to its right: 73 + 56
    // reaches 129, 72 + 56 does not.
    EXPECT_EQ(runDither(rowOf({128, 73}), 8).bits[0], 0x40);
    EXPECT_EQ(runDither(rowOf({128, 72}), 8).bits[0], 0x00);
    // 155 prints white with error -100; -700 / 16 truncates to -43 (not -44).
    EXPECT_EQ(runDither(rowOf({155, 172}), 8).bits[0], 0xC0);
    EXPECT_EQ(runDither(rowOf({155, 171}), 8).bits[0], 0x80);
    // A neighbour is clamped when written: 250 + 120 * 7 / 16 is held at 255,
    // so the white it prints passes no error on and 110 stays black.
    EXPECT_EQ(runDither(rowOf({120, 250, 110}), 8).bits[0], 0x40);
}

TEST(DibDither, OrderedAndBayerOnUniformGray)
{
    const int matrix[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    const int bayerCells[4][4] = {{0, 192, 48, 240}, {128, 64, 176, 112}, {32, 224, 16, 208}, {160, 96, 144, 80}};
    auto uniform = [](int g) {
        Raster r(8, 8, 8);
        for (long y = 0; y < 8; ++y)
            for (long x = 0; x < 8; ++x)
                r.set(x, y, g);
        return r;
    };
    const Raster black = runDither(uniform(0), 1), white = runDither(uniform(255), 1);
    const Raster half = runDither(uniform(128), 1), bayer = runDither(uniform(100), 7);
    int halfCount = 0, bayerCount = 0;
    for (long y = 0; y < 4; ++y)
        for (long x = 0; x < 4; ++x) {
            EXPECT_EQ(black.get(x, y), 0);
            EXPECT_EQ(white.get(x, y), 1);
            EXPECT_EQ(half.get(x, y), matrix[y][x] < 8 ? 1 : 0) << x << "," << y;
            EXPECT_EQ(half.get(x + 4, y + 4), half.get(x, y));
            EXPECT_EQ(bayer.get(x, y), bayerCells[y][x] < 100 ? 1 : 0) << x << "," << y;
            EXPECT_EQ(bayer.get(x + 4, y + 4), bayer.get(x, y));
            halfCount += half.get(x, y);
            bayerCount += bayer.get(x, y);
        }
    EXPECT_EQ(halfCount, 8);
    EXPECT_EQ(bayerCount, 7);  // entries 0, 16, 32, 48, 64, 80, 96
}

TEST(DibDither, FrameCases)
{
    DibImage empty;
    EXPECT_FALSE(empty.Dither(0));

    Raster mono(9, 2, 1);
    mono.pal[0] = RGBQUAD{1, 2, 3, 0};
    mono.set(3, 1, 1);
    DibImage img;
    load(img, mono);
    EXPECT_TRUE(img.Dither(4));
    expectSameRaster(snapshot(img), mono);

    // 24 bits have no indices: every level reads as 0.
    DibImage rgb;
    const uint8_t px[9] = {255, 255, 255, 200, 200, 200, 9, 9, 9};
    ASSERT_TRUE(rgb.CreateFromArray(px, 3, 1, 24, 9, false));
    ASSERT_TRUE(rgb.Dither(0));
    EXPECT_EQ(rgb.GetBpp(), 1u);
    EXPECT_EQ(rgb.GetBits(0)[0], 0);
}

} // namespace
