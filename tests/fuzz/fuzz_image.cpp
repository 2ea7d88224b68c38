// SPDX-License-Identifier: Apache-2.0
// fuzz_image: DibImage and the tattoo toolkit on small images. An input, with
// zeros where it runs out:
//   byte 0, 1  width - 1, height - 1 (modulo kMaxSide)  4  bit count for Create
//   2          index in kDepths, past them Create       5  toolkit colour format + 1 (modulo 7)
//   3          bit 0: CreateFromArray flips the rows    6  operations (modulo kMaxOps + 1)
// then each operation's index in kOps and kOpBytes parameters, then the pixels
// of both images. The order of kOps and the offsets of their parameters are
// part of the format.
#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "dibimage/DibImage.h"
#include "halv/HalvImage.h"
#include "halv/halvDither.h"
#include "halv/halvEnhance.h"

constexpr size_t kHeaderBytes = 7;
constexpr uint32_t kMaxSide = 64;
constexpr size_t kMaxOps = 32;
constexpr size_t kOpBytes = 10;
constexpr int64_t kMaxGrownSide = 512;           // Expand and MakeCenter stay within it
constexpr int64_t kMaxToolkitBytes = 128 * 128;  // the toolkit's 2-D blur costs size x size a pixel
const uint32_t kDepths[] = {1, 4, 8, 24, 32};

// A value of any bit pattern from an operation's parameters.
template <typename T>
static T at(const uint8_t* p, size_t offset)
{
    T value;
    std::memcpy(&value, p + offset, sizeof(T));
    return value;
}

struct Images {
    DibImage a;
    DibImage b;  // a target for rotation, transfers and palettes
    HalvImage halv;
};

static void keepIfBit0(const uint8_t* p, HalvImage& image, const HalvImage& result)
{
    if ((p[0] & 1) != 0) {
        image = result;
    }
}

using Op = void (*)(const uint8_t* p, Images& s);

const Op kOps[] = {
    [](const uint8_t* p, Images& s) { s.a.Light(at<int32_t>(p, 0), at<int32_t>(p, 4)); },
    [](const uint8_t* p, Images& s) {
        uint8_t table[256];
        for (int i = 0; i < 256; ++i) {
            table[i] = static_cast<uint8_t>(i * p[0] + p[1]);
        }
        s.a.Lut(table);
    },
    [](const uint8_t*, Images& s) { s.a.Negative(); },
    [](const uint8_t* p, Images& s) { s.a.Rotate180((p[0] & 1) != 0 ? &s.b : nullptr); },
    [](const uint8_t*, Images& s) { s.a.Mirror(); },
    [](const uint8_t* p, Images& s) {
        const long side[4] = {at<int8_t>(p, 0), at<int8_t>(p, 1), at<int8_t>(p, 2), at<int8_t>(p, 3)};
        const int64_t width = s.a.GetWidth() + std::max(side[0], 0L) + std::max(side[2], 0L);
        const int64_t height = s.a.GetHeight() + std::max(side[1], 0L) + std::max(side[3], 0L);
        if (std::max(width, height) <= kMaxGrownSide) {
            s.a.Expand(side[0], side[1], side[2], side[3], at<RGBQUAD>(p, 4));
        }
    },
    [](const uint8_t* p, Images& s) {
        if (std::max<int64_t>(at<int16_t>(p, 0), s.a.GetHeight()) <= kMaxGrownSide) {
            s.a.MakeCenter(at<int16_t>(p, 0));
        }
    },
    [](const uint8_t* p, Images& s) {
        s.a.DrawLine(at<int16_t>(p, 0), at<int16_t>(p, 2), at<int16_t>(p, 4), at<int16_t>(p, 6), p[8]);
    },
    [](const uint8_t* p, Images& s) { s.a.Dither(static_cast<long>(at<int64_t>(p, 0))); },
    [](const uint8_t* p, Images& s) { s.a.IncreaseBpp(at<uint32_t>(p, 0)); },
    [](const uint8_t* p, Images& s) {
        s.a.GetNearestIndex(at<RGBQUAD>(p, 0));
        s.a.SetPaletteColor(p[4], p[5], p[6], p[7], p[8]);
        s.a.GetPaletteColor(p[9]);
        if ((p[9] & 1) != 0) {
            s.a.SetGrayPalette();
        }
    },
    // The checked pixel accessors anywhere, the blind ones (no checks) inside.
    [](const uint8_t* p, Images& s) {
        const int16_t x = at<int16_t>(p, 0);
        const int16_t y = at<int16_t>(p, 2);
        s.a.SetPixelIndex(x, y, p[4]);
        s.a.GetPixelIndex(y, x);
        if (!s.a.IsValid()) {
            return;
        }
        const long insideX = static_cast<uint16_t>(x) % s.a.GetWidth();
        const long insideY = static_cast<uint16_t>(y) % s.a.GetHeight();
        s.a.BlindSetPixelColor(insideX, insideY, {p[5], p[6], p[7], p[4]});
        s.a.BlindGetPixelColor(insideX, insideY, (p[4] & 1) != 0);
        s.a.BlindSetPixelIndex(insideX, insideY, static_cast<uint8_t>(s.a.BlindGetPixelIndex(insideX, insideY) + 1));
    },
    [](const uint8_t* p, Images& s) {
        const int which = p[0] % 3;
        (which == 1 ? s.b : s.a).Transfer(which == 0 ? s.b : s.a);
        s.b.CopyInfo(s.a);
    },
    [](const uint8_t* p, Images& s) {
        s.b.CreateFromArray(s.a.GetBits(0), s.a.GetWidth(), s.a.GetHeight(), s.a.GetBpp(), s.a.GetEffWidth(),
                            (p[0] & 1) != 0);
    },
    [](const uint8_t* p, Images& s) { s.a.SetPalette(s.b.GetPalette(), p[0] % (s.b.GetNumColors() + 1)); },
    [](const uint8_t*, Images& s) { s.a.Destroy(); },
    [](const uint8_t* p, Images& s) { keepIfBit0(p, s.halv, halvTattooDithering(s.halv)); },
    [](const uint8_t* p, Images& s) { keepIfBit0(p, s.halv, halvTattooDitheringQ6(s.halv)); },
    [](const uint8_t*, Images& s) { s.halv = cvtGray(s.halv); },
    [](const uint8_t*, Images& s) { thresh_global_moments(s.halv); },
    [](const uint8_t* p, Images& s) { s.halv = edf_cus(s.halv, at<int32_t>(p, 0)); },
    // The curve raises i / split to a power, and my_ln takes up to millions of
    // steps for values below about 1e-3 (kHalvLnMaxSteps): split in -512..767.
    [](const uint8_t* p, Images& s) {
        enh_piecewise_gamma(s.halv, -512 + at<uint16_t>(p, 0) % 1280, at<float>(p, 2), at<float>(p, 6));
    },
    [](const uint8_t* p, Images& s) { s.halv = enh_unsharp_mask(s.halv, at<float>(p, 0), at<int8_t>(p, 4)); },
    [](const uint8_t* p, Images& s) { s.halv = enh_gaussian_filter_fast(s.halv, at<int8_t>(p, 0), at<float>(p, 1)); },
    [](const uint8_t* p, Images& s) {
        s.halv = enh_gaussian_filter(s.halv, at<int8_t>(p, 0) % 32, at<float>(p, 1), at<float>(p, 5));
    },
    [](const uint8_t* p, Images& s) {
        const int size = at<int8_t>(p, 0) % 32;
        std::vector<double> kernel(std::max(size, 0));
        generateGaussianKernel1D(size, at<float>(p, 1), kernel.data());
        s.halv = convolve1D(s.halv, kernel.data(), size, (p[5] & 1) != 0);
    },
    [](const uint8_t* p, Images& s) { s.halv = add_Weighted(s.halv, HalvImage(s.halv), at<float>(p, 0)); },
    // Self-assignment, moves, and with bit 0 the image left moved from.
    [](const uint8_t* p, Images& s) {
        HalvImage copy(s.halv);
        HalvImage moved(std::move(copy));
        HalvImage& alias = s.halv;
        s.halv = alias;
        s.halv = moved;
        if ((p[0] & 1) != 0) {
            HalvImage taken(std::move(s.halv));
        }
    },
    [](const uint8_t*, Images& s) {
        if (s.a.IsValid() && int64_t{s.a.GetEffWidth()} * s.a.GetHeight() <= kMaxToolkitBytes) {
            s.halv = HalvImage(static_cast<int>(s.a.GetEffWidth()), static_cast<int>(s.a.GetHeight()), HALV_IMG_GRAY,
                               s.a.GetBits(0));
        }
    },
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> input(data, data + size);
    input.resize(size + kHeaderBytes + kMaxOps * (1 + kOpBytes) + 4 * kMaxSide * kMaxSide);  // any program, depth
    const uint32_t width = 1 + input[0] % kMaxSide;
    const uint32_t height = 1 + input[1] % kMaxSide;
    const size_t depth = input[2] % (std::size(kDepths) + 1);
    const auto colour = static_cast<HALV_IMG_COLOR>(input[5] % 7 - 1);
    const size_t programEnd = kHeaderBytes + input[6] % (kMaxOps + 1) * (1 + kOpBytes);
    uint8_t* pixels = &input[programEnd];
    Images s{{}, {}, HalvImage(static_cast<int>(width), static_cast<int>(height), colour, pixels)};
    if (depth < std::size(kDepths)) {
        s.a.CreateFromArray(pixels, width, height, kDepths[depth], (width * kDepths[depth] + 7) / 8,
                            (input[3] & 1) != 0);
    } else if (s.a.Create(width, height, input[4], input[4]) != nullptr) {
        s.a.SetGrayPalette();
        std::copy_n(pixels, static_cast<size_t>(s.a.GetEffWidth()) * s.a.GetHeight(), s.a.GetBits(0));
    }
    for (size_t op = kHeaderBytes; op < programEnd; op += 1 + kOpBytes) {
        kOps[input[op] % std::size(kOps)](&input[op + 1], s);
    }
    return 0;
}
