// SPDX-License-Identifier: Apache-2.0
#include "halv/halvRows.h"

#include "halv/halvMath.h"

#include <algorithm>
#include <cstring>

// The row loops of the blur and the unsharp mask run across independent
// pixels in vectors; the diffusion's scans are scalar. On x86-64 they are
// also built for wider vector units (and more registers) and picked at load
// time; vector and scalar float and double arithmetic round alike, so every
// variant gives the same bytes (no contraction into fused multiply-add either
// way). A multi-versioned function is called through its resolver and never
// inlined; elsewhere noinline keeps it out of line as well.
#if defined(__x86_64__) && defined(__GNUC__) && defined(__linux__)
#define HALV_ROW_LOOP __attribute__((target_clones("avx512f", "avx2", "default")))
#elif defined(__GNUC__)
#define HALV_ROW_LOOP __attribute__((noinline))
#else
#define HALV_ROW_LOOP
#endif

namespace halv_detail {

size_t pixelCount(const HalvImage& img)
{
    if (img.width <= 0 || img.height <= 0) {
        return 0;
    }
    return static_cast<size_t>(img.width) * static_cast<size_t>(img.height);
}

Taps tapsOf(const double* kernel, int size)
{
    Taps t;
    t.kernel = kernel;
    if (size <= 0) {
        return t;
    }
    t.half = size / 2;
    t.count = size;  // offsets -half .. size - 1 - half
    return t;
}

HalvImage imageToOverwrite(const HalvImage& src)
{
    if (src.width > 0 && src.height > 0 && src.channels == 1 && halvChannelsOf(src.color) == 1) {
        return HalvImage(src.width, src.height, src.color);
    }
    return HalvImage(src);
}

namespace {

// Eight lanes: one AVX-512 register of doubles, two AVX ones, four SSE or
// NEON ones.
typedef double Doubles __attribute__((vector_size(64)));
typedef float Floats __attribute__((vector_size(32)));
typedef int32_t Ints __attribute__((vector_size(32)));
typedef uint8_t Bytes __attribute__((vector_size(8)));
constexpr size_t kLanes = 8;
constexpr size_t kBlock = 4 * kLanes;

// The low byte of my_round((float)sum), without branches: (double)f >= 0 is
// f >= 0 for a float, and f - 0.5f is f + -0.5f.
inline uint8_t roundedByte(double sum)
{
    const float f = static_cast<float>(sum);
    const float r = f + (f >= 0 ? 0.5f : -0.5f);
    return static_cast<uint8_t>(halvTruncToInt(r));
}

// roundedByte of eight sums at once, lane by lane the same operations
// (halvTruncToInt's out-of-range case included).
inline void storeRoundedBytes(const Doubles& sums, uint8_t* out)
{
    const Floats f = __builtin_convertvector(sums, Floats);
    const Floats half = f >= 0 ? Floats{} + 0.5f : Floats{} - 0.5f;
    const Floats r = f + half;
    const Ints inRange = (r >= -2147483648.0f) & (r < 2147483648.0f);
    const Floats safe = inRange ? r : Floats{} - 2147483648.0f;
    const Bytes bytes = __builtin_convertvector(__builtin_convertvector(safe, Ints), Bytes);
    std::memcpy(out, &bytes, sizeof(bytes));
}

// out[x] = roundedByte(sum) with sum = 0.0 + rows[0][x] * kernel[0] + ... +
// rows[count - 1][x] * kernel[count - 1], added in that order, for x in
// 0 .. n - 1. Blocks of 32 pixels keep their sums in registers across the
// taps, four independent vectors of them; each pixel's sum is still formed tap
// by tap in order, so vector and scalar code round alike.
HALV_ROW_LOOP
void convolveRow(const double* const* rows, const double* kernel, int count, size_t n, uint8_t* __restrict out)
{
    size_t x = 0;
    for (; x + kBlock <= n; x += kBlock) {
        Doubles sums[4] = {};
        for (int t = 0; t < count; ++t) {
            for (size_t v = 0; v < 4; ++v) {
                Doubles pixels;
                std::memcpy(&pixels, rows[t] + x + v * kLanes, sizeof(pixels));
                sums[v] += pixels * kernel[t];
            }
        }
        for (size_t v = 0; v < 4; ++v) {
            storeRoundedBytes(sums[v], out + x + v * kLanes);
        }
    }
    for (; x < n; ++x) {
        double sum = 0.0;
        for (int t = 0; t < count; ++t) {
            sum += rows[t][x] * kernel[t];
        }
        out[x] = roundedByte(sum);
    }
}

// weightedPixel of n pixels, written without branches so that it
// vectorises: lane by lane the same float operations in the same order, the
// rounding of my_round and the clamp. halvTruncToInt then the clamp to
// 0 .. 255 are done on floats: NaN and values outside the int range truncate
// to INT32_MIN, which clamps to 0; the rest clamp before truncating, to the
// same byte.
HALV_ROW_LOOP
void addWeightedPixels(const uint8_t* __restrict a, const uint8_t* __restrict b, size_t n, float weight,
                       uint8_t* __restrict out)
{
    const float keep = 1 + weight;
    const float take = -weight;
    for (size_t i = 0; i < n; ++i) {
        const float v = (static_cast<float>(a[i]) * keep + static_cast<float>(b[i]) * take) + 0.0f;
        const float r = v + (v >= 0 ? 0.5f : -0.5f);
        const bool inRange = (r >= -2147483648.0f) & (r < 2147483648.0f);
        float clamped = r < 0 ? 0.0f : r;
        clamped = clamped >= 255.0f ? 255.0f : clamped;
        clamped = inRange ? clamped : 0.0f;
        out[i] = static_cast<uint8_t>(static_cast<int32_t>(clamped));
    }
}

}  // namespace

void hblurRow(const uint8_t* in, int width, const Taps& taps, double* __restrict pad, const double** rows, uint8_t* out)
{
    const size_t n = static_cast<size_t>(width);
    if (taps.count > 0) {
        // pad[i] = in[clamp(i - half)]: the row with its edge pixels repeated
        // half taps to the left and count - 1 - half to the right.
        const size_t half = static_cast<size_t>(taps.half);
        const size_t right = static_cast<size_t>(taps.count - 1 - taps.half);
        std::fill(pad, pad + half, static_cast<double>(in[0]));
        for (size_t x = 0; x < n; ++x) {
            pad[half + x] = static_cast<double>(in[x]);
        }
        std::fill(pad + half + n, pad + half + n + right, static_cast<double>(in[n - 1]));
    }
    // Tap t of pixel x reads pad[x + t].
    for (int t = 0; t < taps.count; ++t) {
        rows[t] = pad + t;
    }
    convolveRow(rows, taps.kernel, taps.count, n, out);
}

void vblurRow(const double* const* rows, int width, const Taps& taps, uint8_t* out)
{
    convolveRow(rows, taps.kernel, taps.count, static_cast<size_t>(width), out);
}

uint8_t weightedPixel(uint8_t a, uint8_t b, float weight)
{
    const float v = (static_cast<float>(a) * (1 + weight) + static_cast<float>(b) * -weight) + 0.0f;
    return static_cast<uint8_t>(myClamp(my_round(v), 0, 255));
}

void addWeightedRow(const uint8_t* a, const uint8_t* b, size_t n, float weight, uint8_t* out)
{
    addWeightedPixels(a, b, n, weight, out);
}

void buildGammaLut(int split, float gammaLow, float gammaHigh, uint8_t lut[256])
{
    for (int i = 0; i < 256; ++i) {
        if (i < split) {
            float r = my_pow(static_cast<float>(i) / static_cast<float>(split), gammaLow);
            lut[i] = static_cast<uint8_t>(halvTruncToInt(r * static_cast<float>(split)));
        } else {
            const int upper = 255 - split;
            if (upper == 0) {
                // Split 255 leaves the upper segment a single point, where its
                // formula divides 0 by 0; the two segments meet at the split.
                lut[i] = static_cast<uint8_t>(split);
                continue;
            }
            float r =
                my_pow((static_cast<float>(i) - static_cast<float>(split)) / static_cast<float>(upper), gammaHigh);
            lut[i] = static_cast<uint8_t>(halvTruncToInt(r * static_cast<float>(upper) + static_cast<float>(split)));
        }
    }
}

int momentThreshold(const uint8_t* pixels, size_t n)
{
    // Four interleaved histograms keep repeated values from waiting on each
    // other's increments; their sums are the plain counts.
    uint32_t hist4[4][256] = {};
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        ++hist4[0][pixels[i]];
        ++hist4[1][pixels[i + 1]];
        ++hist4[2][pixels[i + 2]];
        ++hist4[3][pixels[i + 3]];
    }
    for (; i < n; ++i) {
        ++hist4[0][pixels[i]];
    }

    const float total = static_cast<float>(static_cast<int32_t>(n));
    float p[256];
    for (int k = 0; k < 256; ++k) {
        uint32_t h = hist4[0][k] + hist4[1][k] + hist4[2][k] + hist4[3][k];
        p[k] = static_cast<float>(h) / total;
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
    // One gray level throughout gives cd = 0 and a NaN discriminant: no two
    // levels to separate, so the middle of the range, as for a negative one.
    if (disc != disc) {
        return 128;
    }
    const float r = my_sqrt(disc);
    const float z0 = 0.5f * (-c1 - r);
    const float z1 = 0.5f * (-c1 + r);
    const float p0 = (z1 - m1) / (z1 - z0);
    float cum = 0.0f;
    for (int k = 0; k < 256; ++k) {
        cum += p[k];
        if (cum > p0) {
            return k;
        }
    }
    return -1;
}

BlurStream::BlurStream(int width, int height, const Taps& taps, bool horizontal, Fetch fetch)
    : width_(width), height_(height), taps_(taps), horizontal_(horizontal), fetch_(std::move(fetch))
{
    ring_ = std::max(taps_.count, 1);
    lookahead_ = std::max(taps_.count - 1 - taps_.half, 0);
    const size_t w = static_cast<size_t>(width_);
    srcRing_.resize(static_cast<size_t>(ring_) * w);
    srcPtr_.assign(static_cast<size_t>(ring_), nullptr);
    dblRing_.resize(static_cast<size_t>(ring_) * w);
    rows_.resize(static_cast<size_t>(ring_));
    pad_.resize(w + static_cast<size_t>(ring_));
    tapRows_.resize(static_cast<size_t>(ring_));
    hrow_.resize(w);
    out_.resize(w);
}

void BlurStream::load(int row)
{
    const size_t slot = static_cast<size_t>(row % ring_);
    const size_t w = static_cast<size_t>(width_);
    const uint8_t* src = fetch_(row, srcRing_.data() + slot * w);
    srcPtr_[slot] = src;
    const uint8_t* pass = src;
    if (horizontal_) {
        hblurRow(src, width_, taps_, pad_.data(), tapRows_.data(), hrow_.data());
        pass = hrow_.data();
    }
    double* d = dblRing_.data() + slot * w;
    for (size_t x = 0; x < w; ++x) {
        d[x] = static_cast<double>(pass[x]);
    }
}

const uint8_t* BlurStream::next()
{
    const int y = y_++;
    const int need = std::min(height_ - 1, y + lookahead_);
    while (loaded_ < need) {
        load(++loaded_);
    }
    const size_t w = static_cast<size_t>(width_);
    for (int t = 0; t < taps_.count; ++t) {
        const int r = myClamp(y + t - taps_.half, 0, height_ - 1);
        rows_[static_cast<size_t>(t)] = dblRing_.data() + static_cast<size_t>(r % ring_) * w;
    }
    vblurRow(rows_.data(), width_, taps_, out_.data());
    return out_.data();
}

EdfRows::EdfRows(int width) : width_(width), cells_(3 * (static_cast<size_t>(width) + 4), 0.0f)
{
}

float* EdfRows::row(int offset)
{
    return cells_.data() + static_cast<size_t>((first_ + offset) % 3) * (static_cast<size_t>(width_) + 4) + 2;
}

void EdfRows::advance()
{
    std::memset(current() - 2, 0, (static_cast<size_t>(width_) + 4) * sizeof(float));
    first_ = (first_ + 1) % 3;
}

namespace {

// One image row of the diffusion: its bytes, its dots, and whether it is an
// interior row (0 < y < height - 1).
struct EdfRow {
    const uint8_t* src;
    uint8_t* out;
    bool interior;
};

// The constants of the custom error diffusion.
struct EdfWeights {
    float take[3];  // what a white dot takes off with 0, 1 or 2 black neighbours
    float w0;       // (x + 1, y)
    float w1;       // (x + 2, y)
    float w2;       // (x - 2, y + 1)
    float w3;       // (x - 1, y + 1)
    float w4;       // (x, y + 1)
    float w5;       // (x + 1, y + 1)
};

EdfWeights edfWeights()
{
    // (1 - s) * -255 for s = 0, 0.1427 and 0.1427 + 0.1427, s summed in float:
    // the part of 255 a white dot takes off with 0, 1 or 2 black neighbours.
    // With s = 0 it is -255, which also serves the border's v - 255.
    const float s1 = 0.0f + 0.1427f;
    const float s2 = s1 + 0.1427f;
    return {{(1.0f - 0.0f) * -255.0f, (1.0f - s1) * -255.0f, (1.0f - s2) * -255.0f},
            0.505786f,
            -0.052926f,
            0.226194f,
            0.128835f,
            0.243191f,
            -0.111078f};
}

// The scan of one row. The errors of its next two cells travel in registers:
// a = cell x with everything it has received, b = cell x + 1 without the
// share of pixel x. They add up in the order the scan delivers them: the row
// above first, then pixel x - 2, then pixel x - 1. So do the errors of the
// next row's cells x - 1, x and x + 1 (q1, q0 and a fresh one), which hold
// the shares of the pixels before x; a cell's sum is stored once complete,
// after pixel x + 2's share, starting from the 0 of a fresh row as before.
struct EdfScan {
    EdfRow row;
    const uint8_t* above;
    const float* cur;
    float* nxt;
    int width;
    float a = 0.0f;
    float b = 0.0f;
    float q2 = 0.0f;  // next row, cell x - 2
    float q1 = 0.0f;  // cell x - 1
    float q0 = 0.0f;  // cell x
    uint8_t left = 255;

    // Takes the errors of the first two cells, once they are complete.
    void start()
    {
        a = cur[0];
        b = cur[1];
    }

    void step(int x, const EdfWeights& k, float threshold)
    {
        const float v = a + static_cast<float>(row.src[x]);
        const bool white = v > threshold;
        int blackNeighbours = 0;
        if (row.interior && x >= 1 && x < width - 1) {
            blackNeighbours = (left == 0) + (above[x] == 0);
        }
        // A black pixel passes v on whole: v + 0 is v, since v (a sum with
        // the byte +0 or more) is never -0. Adding a selected term instead of
        // selecting between two sums keeps the scan free of branches on the
        // pixel values.
        const float t = k.take[blackNeighbours];
        const float e = v + (white ? t : 0.0f);
        const uint8_t o = white ? 255 : 0;
        row.out[x] = o;
        left = o;
        const float p0 = e * k.w0;
        const float p1 = e * k.w1;
        const float p2 = e * k.w2;
        const float p3 = e * k.w3;
        const float p4 = e * k.w4;
        const float p5 = e * k.w5;
        a = b + p0;
        b = cur[x + 2] + p1;
        nxt[x - 2] = q2 + p2;
        q2 = q1 + p3;
        q1 = q0 + p4;
        q0 = 0.0f + p5;
    }

    // Stores the next row's last cells (and the guard cell after them).
    void finish()
    {
        nxt[width - 2] = q2;
        nxt[width - 1] = q1;
        nxt[width] = q0;
    }
};

// How far the lower row of a pair trails the upper one: its pixel x reads the
// upper row's dot x and its errors into cell x + 2, which the upper row's
// pixels up to x + 4 add to.
constexpr int kEdfLag = 6;

HALV_ROW_LOOP
void edfRow(const EdfRow& row, const uint8_t* above, const float* cur, float* nxt, int width, float threshold)
{
    const EdfWeights k = edfWeights();
    EdfScan scan{row, above, cur, nxt, width};
    scan.start();
    for (int x = 0; x < width; ++x) {
        scan.step(x, k, threshold);
    }
    scan.finish();
}

// The two scans' registers outnumber the 16 of SSE and AVX, so the pair is
// also built for AVX-512 and its 32; scalar float arithmetic gives the same
// bytes in every build.
HALV_ROW_LOOP
void edfRowPair(const EdfRow& upper, const EdfRow& lower, const uint8_t* above, EdfRows& errors, int width,
                float threshold)
{
    const EdfWeights k = edfWeights();
    EdfScan up{upper, above, errors.current(), errors.next(), width};
    EdfScan down{lower, upper.out, errors.next(), errors.after(), width};
    up.start();
    int lowerX = 0;
    for (int x = 0; x < width; ++x) {
        up.step(x, k, threshold);
        if (x + 1 == width) {
            up.finish();
        }
        if (x == kEdfLag) {
            down.start();
        }
        if (x >= kEdfLag) {
            down.step(lowerX++, k, threshold);
        }
    }
    if (lowerX == 0) {
        down.start();
    }
    for (; lowerX < width; ++lowerX) {
        down.step(lowerX, k, threshold);
    }
    down.finish();
}

}  // namespace

EdfStream::EdfStream(int width, int height, float threshold, uint8_t* out, size_t outStride)
    : width_(width), height_(height), threshold_(threshold), out_(out), outStride_(outStride), errors_(width)
{
}

void EdfStream::rows(const uint8_t* src, size_t srcStride, int count)
{
    uint8_t* out = out_ + static_cast<size_t>(y_) * outStride_;
    const uint8_t* above = y_ > 0 ? out - outStride_ : nullptr;
    const EdfRow upper{src, out, y_ >= 1 && y_ < height_ - 1};
    if (count == 2) {
        const EdfRow lower{src + srcStride, out + outStride_, y_ + 1 < height_ - 1};
        edfRowPair(upper, lower, above, errors_, width_, threshold_);
        errors_.advance();
    } else {
        edfRow(upper, above, errors_.current(), errors_.next(), width_, threshold_);
    }
    errors_.advance();
    y_ += count;
}

}  // namespace halv_detail
