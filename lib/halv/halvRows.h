// SPDX-License-Identifier: Apache-2.0
// Row kernels shared by the toolkit's stage functions and by the streaming
// tattoo pipeline. Each kernel computes exactly what its stage computes for one
// row, in the same precision and the same order of operations per pixel, so a
// stage run row by row over a ring of rows gives the bytes of the stage run
// over whole images.
#pragma once

#include "halv/HalvImage.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace halv_detail {

// width * height, or 0 when either is not positive.
size_t pixelCount(const HalvImage& img);

// The taps of a kernel of `size` entries centred on size / 2: offsets
// -half .. -half + count - 1, weight of offset j at kernel[j + half]. An odd
// size gives offsets -half .. half; an even size stops one short of +half, at
// the last entry the kernel array has.
struct Taps {
    const double* kernel = nullptr;
    int half = 0;
    int count = 0;
};
Taps tapsOf(const double* kernel, int size);

// An image of src's fields whose first width * height bytes the caller is
// about to overwrite: uninitialised when those are all its bytes, otherwise a
// copy of src (the bytes past width * height keep src's values).
HalvImage imageToOverwrite(const HalvImage& src);

// One horizontal pass over a row of `width` bytes with edge replication:
// out[x] = low byte of my_round((float)sum), sum in double over the taps in
// offset order. `pad` holds width + count - 1 doubles, `acc` width doubles.
void hblurRow(const uint8_t* in, int width, const Taps& taps, double* pad, double* acc, uint8_t* out);

// One vertical pass: rows[t] is the row at offset t - half (already clamped to
// the image), converted to double. Same sum and rounding as hblurRow.
void vblurRow(const double* const* rows, int width, const Taps& taps, double* acc, uint8_t* out);

// The weighted difference of add_Weighted for one pair of bytes:
// myClamp(my_round(((float)a * (1 + weight) + (float)b * -weight) + 0), 0, 255).
uint8_t weightedPixel(uint8_t a, uint8_t b, float weight);

// weightedPixel for every pair of bytes, looked up instead of computed.
class WeightedTable {
public:
    explicit WeightedTable(float weight);
    uint8_t operator()(uint8_t a, uint8_t b) const { return table_[static_cast<size_t>(a) << 8 | b]; }

private:
    std::vector<uint8_t> table_;
};

// out[i] = weightedPixel(a[i], b[i], weight) through the table.
void addWeightedRow(const uint8_t* a, const uint8_t* b, size_t n, const WeightedTable& table, uint8_t* out);

// The 256-entry lookup table of the two-segment gamma curve.
void buildGammaLut(int split, float gammaLow, float gammaHigh, uint8_t lut[256]);

// The moment-preserving threshold of n pixels.
int momentThreshold(const uint8_t* pixels, size_t n);

// Separable blur streamed row by row: next() returns blurred row 0, 1, ...
// The source rows come from `fetch(r, scratch)`, which returns a pointer to row
// r, either into the caller's image or into `scratch` (width bytes it may
// fill). Each source row is fetched once and stays reachable through source(y)
// while the blur still needs it, at least until row y has been returned.
class BlurStream {
public:
    using Fetch = std::function<const uint8_t*(int row, uint8_t* scratch)>;
    // `horizontal` false skips the horizontal pass (a vertical pass alone).
    BlurStream(int width, int height, const Taps& taps, bool horizontal, Fetch fetch);
    const uint8_t* next();
    const uint8_t* source(int y) const { return srcPtr_[static_cast<size_t>(y % ring_)]; }

private:
    void load(int row);

    int width_;
    int height_;
    Taps taps_;
    bool horizontal_;
    Fetch fetch_;
    int ring_;       // rows kept: every row of one vertical window, at least 1
    int lookahead_;  // highest tap offset that reads a row, at least 0
    int loaded_ = -1;
    int y_ = 0;
    std::vector<uint8_t> srcRing_;
    std::vector<const uint8_t*> srcPtr_;
    std::vector<double> dblRing_;
    std::vector<const double*> rows_;
    std::vector<double> pad_;
    std::vector<double> acc_;
    std::vector<uint8_t> hrow_;
    std::vector<uint8_t> out_;
};

// The two rows of diffusion errors the custom error diffusion needs: its kernel
// reaches the current row and the next one only. Each row has two guard cells
// on either side that catch the errors falling off the left and right edges;
// nothing reads them back into a pixel.
class EdfRows {
public:
    explicit EdfRows(int width);
    float* current() { return cur_; }
    float* next() { return nxt_; }
    // Moves to the next image row: its errors become current, and a zeroed row
    // starts collecting the errors of the row after.
    void advance();

private:
    int width_;
    std::vector<float> a_;
    std::vector<float> b_;
    float* cur_;
    float* nxt_;
};

// Diffuses one row. `above` is the output row y - 1 (null on row 0), `cur` the
// errors already diffused into row y, `nxt` collects those for row y + 1.
// `interiorRow` is 0 < y < height - 1.
void edfRow(const uint8_t* src, const uint8_t* above, uint8_t* out, const float* cur, float* nxt, int width,
            bool interiorRow, float threshold);

}  // namespace halv_detail
