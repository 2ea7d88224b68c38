// SPDX-License-Identifier: Apache-2.0
// fuzz_image: the image class and the tattoo toolkit on small images and
// arbitrary parameters, an input being a program of operations:
//
//   byte 0, 1   width - 1 and height - 1, each modulo kMaxImageSide
//   byte 2      depth: 1, 4, 8, 24 or 32 bits (DibImage::CreateFromArray), or
//               DibImage::Create with the raw bit count of byte 4
//   byte 3      bit 0: CreateFromArray flips the rows
//   byte 4      raw bit count for Create
//   byte 5      colour format of the toolkit's image (HALV_IMG_COLOR), -1..5
//   byte 6      number of operations, modulo kMaxImageOps + 1
//   then        per operation its index in kOps (modulo their number) and
//               kImageOpBytes parameter bytes
//   the rest    the pixels, rows packed, zeros where the input runs out; the
//               DibImage and the toolkit's image start from the same bytes
//
// The operations work on two DibImage objects (`a` the image, `b` a second
// one for rotation targets, transfers and palettes) and one HalvImage. The
// order of kOps is part of the input format: the corpus depends on it.
#include <algorithm>
#include <utility>
#include <vector>

#include "FuzzBytes.h"
#include "dibimage/DibImage.h"
#include "halv/HalvImage.h"
#include "halv/halvDither.h"
#include "halv/halvEnhance.h"

namespace {

constexpr uint32_t kMaxImageSide = 64;
constexpr size_t kMaxImageOps = 32;
constexpr size_t kImageOpBytes = 10;

// Operations that enlarge a DibImage (Expand, MakeCenter) are skipped when
// the result would be wider or higher than this, and a DibImage becomes the
// toolkit's image only up to kMaxToolkitBytes bytes of pixels: the toolkit's
// direct 2-D blur costs size x size operations a pixel.
constexpr uint32_t kMaxGrownSide = 512;
constexpr uint32_t kMaxToolkitBytes = 128 * 128;

const uint32_t kDepths[] = {1, 4, 8, 24, 32};

bool withinGrownSide(int64_t width, int64_t height)
{
    return width <= kMaxGrownSide && height <= kMaxGrownSide;
}

RGBQUAD colourOf(FuzzBytes& p)
{
    RGBQUAD colour;
    colour.rgbBlue = p.byte();
    colour.rgbGreen = p.byte();
    colour.rgbRed = p.byte();
    colour.rgbReserved = p.byte();
    return colour;
}

using Op = void (*)(FuzzBytes& p, DibImage& a, DibImage& b, HalvImage& image);

// Each operation reads its parameters in the order its comment gives.
const Op kOps[] = {
    // Light: int32 brightness, int32 contrast
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) {
        const int32_t brightness = p.value<int32_t>();
        a.Light(brightness, p.value<int32_t>());
    },
    // Lut: table[i] = i * byte + byte
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) {
        const uint8_t factor = p.byte();
        const uint8_t offset = p.byte();
        uint8_t table[256];
        for (int i = 0; i < 256; ++i) {
            table[i] = static_cast<uint8_t>(i * factor + offset);
        }
        a.Lut(table);
    },
    [](FuzzBytes&, DibImage& a, DibImage&, HalvImage&) { a.Negative(); },
    // Rotate180: bit 0, into b
    [](FuzzBytes& p, DibImage& a, DibImage& b, HalvImage&) { a.Rotate180((p.byte() & 1) != 0 ? &b : nullptr); },
    [](FuzzBytes&, DibImage& a, DibImage&, HalvImage&) { a.Mirror(); },
    // Expand: int8 left, top, right, bottom; colour blue, green, red, reserved
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) {
        long sides[4];
        for (long& side : sides) {
            side = p.value<int8_t>();
        }
        const RGBQUAD colour = colourOf(p);
        if (withinGrownSide(a.GetWidth() + std::max(sides[0], 0L) + std::max(sides[2], 0L),
                            a.GetHeight() + std::max(sides[1], 0L) + std::max(sides[3], 0L))) {
            a.Expand(sides[0], sides[1], sides[2], sides[3], colour);
        }
    },
    // MakeCenter: int16 width
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) {
        const int32_t width = p.value<int16_t>();
        if (withinGrownSide(width, a.GetHeight())) {
            a.MakeCenter(width);
        }
    },
    // DrawLine: int16 start x, end x, start y, end y; index
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) {
        int32_t ends[4];
        for (int32_t& end : ends) {
            end = p.value<int16_t>();
        }
        a.DrawLine(ends[0], ends[1], ends[2], ends[3], p.byte());
    },
    // Dither: int64 method
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) { a.Dither(static_cast<long>(p.value<int64_t>())); },
    // IncreaseBpp: uint32 bit count
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) { a.IncreaseBpp(p.value<uint32_t>()); },
    // Palette: nearest to colour (4 bytes); set entry, red, green, blue,
    // alpha; get entry, and bit 0 of it: gray palette
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) {
        a.GetNearestIndex(colourOf(p));
        uint8_t entry[5];
        for (uint8_t& byte : entry) {
            byte = p.byte();
        }
        a.SetPaletteColor(entry[0], entry[1], entry[2], entry[3], entry[4]);
        const uint8_t last = p.byte();
        a.GetPaletteColor(last);
        if (last & 1) {
            a.SetGrayPalette();
        }
    },
    // Pixels: int16 x, y; index; colour (3 bytes). The checked accessors
    // anywhere, the blind ones, which do no checks, inside.
    [](FuzzBytes& p, DibImage& a, DibImage&, HalvImage&) {
        const long x = p.value<int16_t>();
        const long y = p.value<int16_t>();
        const uint8_t index = p.byte();
        a.SetPixelIndex(x, y, index);
        a.GetPixelIndex(y, x);
        if (!a.IsValid()) {
            return;
        }
        const long insideX = static_cast<long>(static_cast<uint16_t>(x) % a.GetWidth());
        const long insideY = static_cast<long>(static_cast<uint16_t>(y) % a.GetHeight());
        const RGBQUAD colour = {p.byte(), p.byte(), p.byte(), index};
        a.BlindSetPixelColor(insideX, insideY, colour);
        a.BlindGetPixelColor(insideX, insideY, (index & 1) != 0);
        a.BlindSetPixelIndex(insideX, insideY, static_cast<uint8_t>(a.BlindGetPixelIndex(insideX, insideY) + 1));
    },
    // Transfer: byte modulo 3, a takes b, b takes a, a takes itself; then b
    // copies a's information
    [](FuzzBytes& p, DibImage& a, DibImage& b, HalvImage&) {
        const uint8_t which = p.byte() % 3;
        DibImage& taker = which == 1 ? b : a;
        taker.Transfer(which == 0 ? b : a);
        b.CopyInfo(a);
    },
    // Recreate: bit 0, b is created from a's rows, flipped
    [](FuzzBytes& p, DibImage& a, DibImage& b, HalvImage&) {
        b.CreateFromArray(a.GetBits(0), a.GetWidth(), a.GetHeight(), a.GetBpp(), a.GetEffWidth(), (p.byte() & 1) != 0);
    },
    // SetPalette: count (modulo b's colours + 1) of b's entries into a
    [](FuzzBytes& p, DibImage& a, DibImage& b, HalvImage&) {
        a.SetPalette(b.GetPalette(), p.byte() % (b.GetNumColors() + 1));
    },
    [](FuzzBytes&, DibImage& a, DibImage&, HalvImage&) { a.Destroy(); },
    // Tattoo, TattooQ6: bit 0, keep the result
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const HalvImage result = halvTattooDithering(image);
        if ((p.byte() & 1) != 0) {
            image = result;
        }
    },
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const HalvImage result = halvTattooDitheringQ6(image);
        if ((p.byte() & 1) != 0) {
            image = result;
        }
    },
    [](FuzzBytes&, DibImage&, DibImage&, HalvImage& image) { image = cvtGray(image); },
    [](FuzzBytes&, DibImage&, DibImage&, HalvImage& image) { thresh_global_moments(image); },
    // Diffuse: int32 threshold
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) { image = edf_cus(image, p.value<int32_t>()); },
    // Gamma: uint16 split, float low gamma, float high gamma. The split stays
    // within -512..767: the curve raises i / split to a power, and my_ln of
    // values below about 1e-3 takes up to millions of steps (its documented
    // slow band, bounded by kHalvLnMaxSteps).
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const int split = -512 + p.value<uint16_t>() % 1280;
        const float low = p.value<float>();
        enh_piecewise_gamma(image, split, low, p.value<float>());
    },
    // UnsharpMask: float amount, int8 size
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const float amount = p.value<float>();
        image = enh_unsharp_mask(image, amount, p.value<int8_t>());
    },
    // GaussianFast: int8 size, float sigma
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const int size = p.value<int8_t>();
        image = enh_gaussian_filter_fast(image, size, p.value<float>());
    },
    // Gaussian: int8 size (modulo 32), float sigma x, float sigma y
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const int size = p.value<int8_t>() % 32;
        const double sigmaX = p.value<float>();
        image = enh_gaussian_filter(image, size, sigmaX, p.value<float>());
    },
    // Convolve: int8 size (modulo 32), float sigma, bit 0 horizontal
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const int size = p.value<int8_t>() % 32;
        std::vector<double> kernel(size > 0 ? static_cast<size_t>(size) : 0);
        generateGaussianKernel1D(size, p.value<float>(), kernel.data());
        image = convolve1D(image, kernel.data(), size, (p.byte() & 1) != 0);
    },
    // Weighted: float weight
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        const HalvImage other(image);
        image = add_Weighted(image, other, p.value<float>());
    },
    // Copies: bit 0, leave the image moved from
    [](FuzzBytes& p, DibImage&, DibImage&, HalvImage& image) {
        HalvImage copy(image);
        HalvImage moved(std::move(copy));
        HalvImage& alias = image;
        image = alias;
        image = moved;
        if ((p.byte() & 1) != 0) {
            HalvImage taken(std::move(image));
        }
    },
    // FromDib: a's rows (GetEffWidth() bytes each) as a gray image
    [](FuzzBytes&, DibImage& a, DibImage&, HalvImage& image) {
        if (a.IsValid() && static_cast<uint64_t>(a.GetEffWidth()) * a.GetHeight() <= kMaxToolkitBytes) {
            image = HalvImage(static_cast<int>(a.GetEffWidth()), static_cast<int>(a.GetHeight()), HALV_IMG_GRAY,
                              a.GetBits(0));
        }
    },
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzBytes bytes(data, size);
    const uint32_t width = 1 + bytes.byte() % kMaxImageSide;
    const uint32_t height = 1 + bytes.byte() % kMaxImageSide;
    const size_t depth = bytes.choice(std::size(kDepths) + 1);  // past the end: Create with the raw bit count
    const bool flip = (bytes.byte() & 1) != 0;
    const uint32_t rawBits = bytes.byte();
    const auto colour = static_cast<HALV_IMG_COLOR>(static_cast<int32_t>(bytes.choice(7)) - 1);
    const size_t operations = bytes.choice(kMaxImageOps + 1);
    FuzzBytes program(bytes.rest(), std::min(operations * (1 + kImageOpBytes), bytes.restSize()));
    bytes.skip(operations * (1 + kImageOpBytes));

    // Enough pixels for any depth: at most 4 bytes a pixel.
    std::vector<uint8_t> pixels(bytes.rest(), bytes.rest() + bytes.restSize());
    pixels.resize(std::max<size_t>(pixels.size(), 4 * width * height));

    DibImage a;
    DibImage b;
    if (depth < std::size(kDepths)) {
        a.CreateFromArray(pixels.data(), width, height, kDepths[depth], (width * kDepths[depth] + 7) / 8, flip);
    } else if (a.Create(width, height, rawBits, rawBits) != nullptr) {
        a.SetGrayPalette();
        std::copy_n(pixels.begin(), static_cast<size_t>(a.GetEffWidth()) * a.GetHeight(), a.GetBits(0));
    }
    HalvImage image(static_cast<int>(width), static_cast<int>(height), colour, pixels.data());

    for (size_t i = 0; i < operations; ++i) {
        const Op op = kOps[program.choice(std::size(kOps))];
        FuzzBytes params(program.rest(), std::min(kImageOpBytes, program.restSize()));
        program.skip(kImageOpBytes);
        op(params, a, b, image);
    }
    return 0;
}
