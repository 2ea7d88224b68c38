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
// offset order. `pad` holds width + count - 1 doubles, `rows` count pointers.
void hblurRow(const uint8_t* in, int width, const Taps& taps, double* pad, const double** rows, uint8_t* out);

// One vertical pass: rows[t] is the row at offset t - half (already clamped to
// the image), converted to double. Same sum and rounding as hblurRow.
void vblurRow(const double* const* rows, int width, const Taps& taps, uint8_t* out);

// The weighted difference of add_Weighted for one pair of bytes:
// myClamp(my_round(((float)a * (1 + weight) + (float)b * -weight) + 0), 0, 255).
uint8_t weightedPixel(uint8_t a, uint8_t b, float weight);

// out[i] = weightedPixel(a[i], b[i], weight), in vectors.
void addWeightedRow(const uint8_t* a, const uint8_t* b, size_t n, float weight, uint8_t* out);

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
    std::vector<const double*> tapRows_;
    std::vector<uint8_t> hrow_;
    std::vector<uint8_t> out_;
};

// The rows of diffusion errors the custom error diffusion needs: its kernel
// reaches the current row and the next one only, and two rows are diffused at
// a time, so three rows are kept: the current one, the next and the one after.
// Each row has two guard cells on either side that catch the errors falling
// off the left and right edges; nothing reads them back into a pixel.
class EdfRows {
public:
    explicit EdfRows(int width);
    float* current() { return row(0); }
    float* next() { return row(1); }
    float* after() { return row(2); }
    // Moves to the next image row: its errors become current, and a zeroed row
    // starts collecting the errors of the row after the next.
    void advance();

private:
    float* row(int offset);

    int width_;
    int first_ = 0;
    std::vector<float> cells_;
};

// The custom error diffusion streamed over an image's rows: rows are handed in
// in order, one or two at a time, and their dots (0 / 255) written into the
// output image, row y at out + y * outStride. Two rows handed in together are
// diffused interleaved, the lower one a few pixels behind the upper one: the
// two scans are independent chains of arithmetic, and the lower row reads the
// upper row's dots and errors only where the upper row has finished them, so
// the bytes are those of one row after the other.
class EdfStream {
public:
    EdfStream(int width, int height, float threshold, uint8_t* out, size_t outStride);
    // Diffuses the next `count` rows (1 or 2), `srcStride` bytes apart.
    void rows(const uint8_t* src, size_t srcStride, int count);

private:
    int width_;
    int height_;
    float threshold_;
    uint8_t* out_;
    size_t outStride_;
    int y_ = 0;
    EdfRows errors_;
};

}  // namespace halv_detail
