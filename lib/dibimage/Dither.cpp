// SPDX-License-Identifier: Apache-2.0
// DibImage::Dither: halftoning of a gray (index) image to 1 bit per pixel.
//
// Method numbers:
//   0        threshold at 129
//   1        ordered, fixed 4 x 4 matrix
//   2 .. 6   error diffusion: Burkes, Stucki, Jarvis-Judice-Ninke, Sierra,
//            Stevenson-Arce
//   7        ordered, generated Bayer matrix of order 4
//   other    error diffusion: Floyd-Steinberg
// Output index 0 is black, 1 is white; rows are scanned top to bottom, each
// left to right. The output rows are packed directly, most significant bit
// first.

#include "dibimage/DibImage.h"

#include "common/KorvoCancel.h"

#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "DiffusionKernels.h"
#include "PixelRows.h"

namespace {

using namespace dibimage_detail;

// Levels from this value up print as white.
constexpr int kWhiteFrom = 129;

// Gray levels of the source, one byte per pixel, row by row.
struct GrayRows {
    const uint8_t* base;
    size_t stride;
    const uint8_t* row(uint32_t y) const { return base + static_cast<size_t>(y) * stride; }
};

// Packs the bits bit(0) .. bit(w - 1) of one row, most significant bit first.
// The unused low bits of a last partial byte are written as 0.
template <class Bit>
inline void packRow(uint8_t* out, uint32_t w, Bit bit)
{
    uint32_t x = 0;
    for (; x + 8 <= w; x += 8) {
        unsigned b = 0;
        for (uint32_t i = 0; i < 8; ++i) {
            b = (b << 1) | bit(x + i);
        }
        *out++ = static_cast<uint8_t>(b);
    }
    if (x < w) {
        unsigned b = 0;
        unsigned n = 0;
        for (; x < w; ++x, ++n) {
            b = (b << 1) | bit(x);
        }
        *out = static_cast<uint8_t>(b << (8 - n));
    }
}

void thresholdRows(const GrayRows& src, uint32_t w, uint32_t h, uint8_t* out, size_t outStride)
{
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* row = src.row(y);
        packRow(out + y * outStride, w, [row](uint32_t x) { return unsigned(row[x] >= kWhiteFrom); });
    }
}

// Ordered dithering with the fixed 4 x 4 matrix. The gray is brought to
// d = g * 16 / 255 (0 .. 16); a cell prints white when its matrix value m is
// below d mod 16, and d = 16 (g = 255) is white everywhere. For g < 255,
// m < floor(16 g / 255) holds exactly when g >= ceil(255 (m + 1) / 16), a
// limit of at most 255, so one comparison per cell covers both cases.
void orderedRows(const GrayRows& src, uint32_t w, uint32_t h, uint8_t* out, size_t outStride)
{
    static constexpr uint8_t kMatrix[4][4] = {
        {0, 8, 2, 10},
        {12, 4, 14, 6},
        {3, 11, 1, 9},
        {15, 7, 13, 5},
    };
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* row = src.row(y);
        uint8_t limit[4];
        for (unsigned c = 0; c < 4; ++c) {
            limit[c] = static_cast<uint8_t>((255u * (kMatrix[y & 3][c] + 1u) + 15u) / 16u);
        }
        packRow(out + y * outStride, w, [row, &limit](uint32_t x) { return unsigned(row[x] >= limit[x & 3]); });
    }
}

// Ordered dithering with the generated Bayer matrix of order 4. The table
// has 1 << (2 * order) entries, but cells are looked up at
// (x mod order) + order * (y mod order), so only its first 16 entries are
// used. A cell prints white when the gray is greater than its entry.
void bayerRows(const GrayRows& src, uint32_t w, uint32_t h, uint8_t* out, size_t outStride)
{
    constexpr unsigned order = 4;
    uint8_t table[1u << (2 * order)];
    for (unsigned i = 0; i < sizeof(table); ++i) {
        unsigned a = i / order;
        unsigned b = i % order;
        unsigned value = 0;
        for (unsigned n = order; n > 0; --n) {
            value = (((value << 1) | ((a & 1) ^ (b & 1))) << 1) | (b & 1);
            a >>= 1;
            b >>= 1;
        }
        table[i] = static_cast<uint8_t>(value);
    }
    constexpr unsigned shift = 8 > 2 * order ? 8 - 2 * order : 0;
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* row = src.row(y);
        const uint8_t* cells = table + order * (y % order);
        packRow(out + y * outStride, w,
                [row, cells](uint32_t x) { return unsigned((row[x] >> shift) > cells[x % order]); });
    }
}

// ---------------------------------------------------------------------------
// Error diffusion.
//
// Per pixel, in scan order: the level (which already holds every error
// diffused into it) gives white from 129 on; the error, level or level - 255,
// is spread to each tap as (error * weight) / divisor, truncated toward
// zero, and every tap's new value is clamped to 0 .. 255 on its own. Taps
// outside the image are dropped.
//
// The engine keeps the rows a kernel can reach (up to four) in a ring of
// 16-bit rows with spare columns on both sides: writes to columns outside
// the image land in the spare columns, and writes to rows below the image
// land in ring rows that are never read back, so the inner loop needs no
// bounds tests. Each pixel still receives its contributions one at a time,
// in the order of the source pixels, each clamped on its own, so the result
// is exactly that of the per-neighbour bounds-checked procedure.
//
// The same-row taps form the dependency chain from one pixel to the next
// and are kept in scalar registers (a0 = this pixel, a1, a2 = the next
// two). Each row below is handled as a window of 8 columns, x - 3 .. x + 4,
// in one vector register: one vector add of the per-level contributions
// (zero where the kernel has no tap), one clamp, then the leftmost column,
// which no later pixel of this row reaches, is stored and the window moves
// on by one column.
//
// The chain from pixel to pixel is latency-bound, so kernels of up to three
// rows diffuse two rows at once, as two interleaved scans (the ring then
// holds one row more): the lower row trails the upper one by kPairLag
// columns and only ever reads columns the upper row has finished.
//
// Sources of 4 bits per pixel store every updated level in a nibble, so the
// level is reduced to its low 4 bits after the clamp ("Nibble").

constexpr int kReach = 3;            // columns a kernel reaches on either side
constexpr int kMarginLeft = kReach;  // the window starts at x - 3
constexpr int kMarginRight = 8;      // it reads up to x + 5 and is flushed up to w + 4

// Eight consecutive columns of one ring row.
typedef int16_t Lanes __attribute__((vector_size(16)));
constexpr int kLanes = 8;

struct DeltaTable {
    int16_t v[256];
};

// Contribution of one tap, indexed by the level of the pixel being decided.
constexpr DeltaTable makeDelta(int weight, int divisor)
{
    DeltaTable t{};
    for (int level = 0; level < 256; ++level) {
        const long long err = level < kWhiteFrom ? level : level - 255;
        t.v[level] = static_cast<int16_t>((err * weight) / divisor);
    }
    return t;
}

template <int Weight, int Divisor>
inline constexpr DeltaTable kDelta = makeDelta(Weight, Divisor);

template <class K>
constexpr int kernelRows()
{
    int rows = 1;
    for (const DiffusionTap& t : K::kTaps) {
        if (t.dy + 1 > rows) {
            rows = t.dy + 1;
        }
    }
    return rows;
}

template <class K>
constexpr int sameRowWeight(int dx)
{
    for (const DiffusionTap& t : K::kTaps) {
        if (t.dy == 0 && t.dx == dx) {
            return t.weight;
        }
    }
    return 0;
}

template <class K>
constexpr bool kernelFitsEngine()
{
    for (const DiffusionTap& t : K::kTaps) {
        if (t.dx < -kReach || t.dx > kReach || t.dy < 0 || t.dy > 3) {
            return false;
        }
        if (t.dy == 0 && (t.dx < 1 || t.dx > 2)) {
            return false;
        }
    }
    return true;
}

// For each row below the current one and each level: the contributions to
// the columns x - 3 .. x + 4 of that row (zero where the kernel has no tap).
template <class K>
struct LowerDeltas {
    static constexpr int kRows = kernelRows<K>() - 1;
    alignas(16) int16_t v[kRows][256][kLanes];

    LowerDeltas() : v{}
    {
        for (const DiffusionTap& t : K::kTaps) {
            if (t.dy == 0) {
                continue;
            }
            const DeltaTable d = makeDelta(t.weight, K::kDivisor);
            for (int level = 0; level < 256; ++level) {
                v[t.dy - 1][level][t.dx + kReach] = d.v[level];
            }
        }
    }
};

template <bool Nibble>
inline int settle(int v)
{
    v = v < 0 ? 0 : v;
    v = v > 255 ? 255 : v;
    if constexpr (Nibble) {
        v &= 0x0F;
    }
    return v;
}

template <bool Nibble>
inline Lanes settle(Lanes v)
{
    const Lanes zero = {0, 0, 0, 0, 0, 0, 0, 0};
    const Lanes top = {255, 255, 255, 255, 255, 255, 255, 255};
    v = v < zero ? zero : v;
    v = v > top ? top : v;
    if constexpr (Nibble) {
        v &= 0x0F;
    }
    return v;
}

// Lanes 1 .. 7 move to 0 .. 6; lane 7 becomes 0.
inline Lanes shiftDown(Lanes v)
{
#if defined(__clang__) || __GNUC__ >= 12
    return __builtin_shufflevector(v, Lanes{}, 1, 2, 3, 4, 5, 6, 7, 8);
#else
    const Lanes mask = {1, 2, 3, 4, 5, 6, 7, 8};
    return __builtin_shuffle(v, Lanes{}, mask);
#endif
}

inline Lanes loadLanes(const int16_t* p)
{
    Lanes v;
    std::memcpy(&v, p, sizeof(v));
    return v;
}

// The scan of one row: the levels of its next three pixels (a0 = this one)
// in scalar registers, the windows of 8 columns of the rows below in vector
// registers, and the packed bits of the row so far.
template <class K, bool Nibble>
struct RowScan {
    static constexpr int L = kernelRows<K>() - 1;
    static constexpr int W1 = sameRowWeight<K>(1);
    static constexpr int W2 = sameRowWeight<K>(2);

    // At a fixed address, so that the tables take no register.
    static inline const LowerDeltas<K> lower;

    const int16_t* cur;
    int16_t* below[L > 0 ? L : 1];
    Lanes win[L > 0 ? L : 1];
    uint8_t* o;
    int a0 = 0;
    int a1 = 0;
    int a2 = 0;
    unsigned acc = 0;

    // Takes the levels of the first three pixels and the first windows, once
    // every earlier row has finished them.
    __attribute__((always_inline)) void start()
    {
        for (int d = 0; d < L; ++d) {
            win[d] = loadLanes(below[d] - kReach);
        }
        a0 = cur[0];
        a1 = cur[1];
        a2 = cur[2];
    }

    __attribute__((always_inline)) void step(long x)
    {
        constexpr int D = K::kDivisor;
        const int level = a0;
        acc = (acc << 1) | unsigned(level >= kWhiteFrom);
        if ((x & 7) == 7) {
            *o++ = static_cast<uint8_t>(acc);
            acc = 0;
        }
        if constexpr (W1 != 0) {
            a1 = settle<Nibble>(a1 + kDelta<W1, D>.v[level]);
        }
        if constexpr (W2 != 0) {
            a2 = settle<Nibble>(a2 + kDelta<W2, D>.v[level]);
        }
        for (int d = 0; d < L; ++d) {
            Lanes v = settle<Nibble>(win[d] + loadLanes(lower.v[d][level]));
            below[d][x - kReach] = v[0];
            v = shiftDown(v);
            v[7] = below[d][x + kLanes - kReach];
            win[d] = v;
        }
        a0 = a1;
        a1 = a2;
        a2 = cur[x + 3];
    }

    // Writes back the windows and the last bits of a row of w pixels.
    void finish(uint32_t w)
    {
        if (w & 7) {
            *o = static_cast<uint8_t>(acc << (8 - (w & 7)));
        }
        for (int d = 0; d < L; ++d) {
            std::memcpy(below[d] + w - kReach, &win[d], sizeof(Lanes));
        }
    }
};

// How far the lower row of a pair trails the upper one. Lower pixel x reads
// the level of column x + 3 of its own row and, for its windows, column x + 5
// of the rows below; the upper row has finished a column of the rows below
// it once it is 3 columns past it. Its windows then never overlap the lower
// row's, and every pixel still receives its contributions in the order of
// the source pixels: the upper row's all before the lower row's.
constexpr long kPairLag = 8;

template <class K, bool Nibble>
void diffuseRows(const GrayRows& src, uint32_t w, uint32_t h, uint8_t* out, size_t outStride)
{
    static_assert(kernelFitsEngine<K>(), "kernel reaches beyond the engine's spare columns");
    using Scan = RowScan<K, Nibble>;
    // Rows are diffused in pairs where that pays: with three rows below, the
    // six windows of a pair no longer fit the vector registers.
    constexpr bool kPairs = kernelRows<K>() <= 3;
    // The rows one step reaches.
    constexpr int R = kernelRows<K>() + (kPairs ? 1 : 0);

    const size_t span = static_cast<size_t>(w) + kMarginLeft + kMarginRight;
    std::vector<int16_t> ring(span * R, 0);
    auto slot = [&](uint64_t y) { return ring.data() + (y % R) * span + kMarginLeft; };
    auto load = [&](uint64_t y) {
        if (y >= h) {
            return;
        }
        int16_t* d = slot(y);
        const uint8_t* s = src.row(static_cast<uint32_t>(y));
        for (uint32_t x = 0; x < w; ++x) {
            d[x] = s[x];
        }
    };
    auto scanOf = [&](uint64_t y) {
        Scan scan{slot(y), {}, {}, out + y * outStride};
        for (int d = 0; d < Scan::L; ++d) {
            scan.below[d] = slot(y + d + 1);
        }
        return scan;
    };
    for (int r = 0; r < R; ++r) {
        load(static_cast<uint64_t>(r));
    }

    const long width = static_cast<long>(w);
    for (uint32_t y = 0; y < h && !korvoJobCancelled(); y += kPairs ? 2 : 1) {
        Scan upper = scanOf(y);
        upper.start();
        if (!kPairs || y + 1 == h) {
            for (long x = 0; x < width; ++x) {
                upper.step(x);
            }
            upper.finish(w);
            load(static_cast<uint64_t>(y) + R);
            continue;
        }
        // Two rows at once: the two chains of level arithmetic overlap.
        Scan lowerRow = scanOf(y + 1);
        long lowerX = 0;
        for (long x = 0; x < width; ++x) {
            upper.step(x);
            if (x >= kPairLag) {
                if (x == kPairLag) {
                    lowerRow.start();
                }
                lowerRow.step(lowerX++);
            }
        }
        upper.finish(w);
        if (lowerX == 0) {
            lowerRow.start();
        }
        for (; lowerX < width; ++lowerX) {
            lowerRow.step(lowerX);
        }
        lowerRow.finish(w);
        load(static_cast<uint64_t>(y) + R);
        load(static_cast<uint64_t>(y) + R + 1);
    }
}

template <bool Nibble>
void runMethod(long method, const GrayRows& src, uint32_t w, uint32_t h, uint8_t* out, size_t outStride)
{
    switch (method) {
    case 0:
        thresholdRows(src, w, h, out, outStride);
        break;
    case 1:
        orderedRows(src, w, h, out, outStride);
        break;
    case 2:
        diffuseRows<BurkesKernel, Nibble>(src, w, h, out, outStride);
        break;
    case 3:
        diffuseRows<StuckiKernel, Nibble>(src, w, h, out, outStride);
        break;
    case 4:
        diffuseRows<JarvisJudiceNinkeKernel, Nibble>(src, w, h, out, outStride);
        break;
    case 5:
        diffuseRows<SierraKernel, Nibble>(src, w, h, out, outStride);
        break;
    case 6:
        diffuseRows<StevensonArceKernel, Nibble>(src, w, h, out, outStride);
        break;
    case 7:
        bayerRows(src, w, h, out, outStride);
        break;
    default:
        diffuseRows<FloydSteinbergKernel, Nibble>(src, w, h, out, outStride);
        break;
    }
}

}  // namespace

bool DibImage::Dither(long method)
{
    if (!block_) {
        return false;
    }
    if (head_.biBitCount == 1) {
        return true;
    }

    const uint32_t w = GetWidth();
    const uint32_t h = GetHeight();

    DibImage out;
    if (!createReplacement(out, w, h, 1)) {
        return false;
    }

    uint8_t* outBits = out.info_.imageBits;
    const size_t outStride = out.info_.effWidth;

    if (head_.biBitCount == 8) {
        runMethod<false>(method, GrayRows{info_.imageBits, info_.effWidth}, w, h, outBits, outStride);
    } else {
        // 4 bits: the levels are the nibbles. 24 bits: no palette, so every
        // index reads as 0.
        std::vector<uint8_t> plane(static_cast<size_t>(w) * h, 0);
        const bool nibbles = head_.biBitCount == 4;
        if (nibbles) {
            for (uint32_t y = 0; y < h; ++y) {
                const uint8_t* row = info_.imageBits + static_cast<size_t>(y) * info_.effWidth;
                uint8_t* p = plane.data() + static_cast<size_t>(y) * w;
                for (uint32_t x = 0; x < w; ++x) {
                    p[x] = rowGetIndex(row, x, 4);
                }
            }
        }
        const GrayRows src{plane.data(), w};
        if (nibbles) {
            runMethod<true>(method, src, w, h, outBits, outStride);
        } else {
            runMethod<false>(method, src, w, h, outBits, outStride);
        }
    }

    out.SetPaletteColor(0, 0, 0, 0);
    out.SetPaletteColor(1, 255, 255, 255);
    Transfer(out);
    return true;
}
