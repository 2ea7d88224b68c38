// SPDX-License-Identifier: Apache-2.0
// The layout of a fuzz_image input: a small image and the operations to run
// on it.
//
//   byte 0, 1   width - 1 and height - 1, each modulo kMaxImageSide
//   byte 2      depth: 1, 4, 8, 24 or 32 bits (DibImage::CreateFromArray), or
//               DibImage::Create with the raw bit count of byte 4
//   byte 3      bit 0: CreateFromArray flips the rows
//   byte 4      raw bit count for Create
//   byte 5      colour format of the toolkit's image (HALV_IMG_COLOR), -1..5
//   byte 6      number of operations, modulo kMaxImageOps + 1
//   then        per operation its ImageOp byte (modulo the number of
//               operations) and kImageOpBytes parameter bytes
//   the rest    the pixels, rows packed, zeros where the input runs out; the
//               DibImage and the toolkit's image start from the same bytes
//
// The operations work on two DibImage objects (`a` the image, `b` a second
// one for rotation targets, transfers and palettes) and one HalvImage.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t kMaxImageSide = 64;
constexpr size_t kImageHeaderBytes = 7;
constexpr size_t kMaxImageOps = 32;
constexpr size_t kImageOpBytes = 10;

// Operations that enlarge a DibImage (Expand, MakeCenter) are skipped when
// the result would be wider or higher than this, and a DibImage becomes the
// toolkit's image only up to kMaxToolkitBytes bytes of pixels: the toolkit's
// direct 2-D blur costs size x size operations a pixel.
constexpr uint32_t kMaxGrownSide = 512;
constexpr uint32_t kMaxToolkitBytes = 128 * 128;

enum class ImageOp : uint8_t {
    // DibImage
    Light,        // int32 brightness, int32 contrast
    Lut,          // table[i] = i * byte + byte
    Negative,     //
    Rotate180,    // bit 0: into b
    Mirror,       //
    Expand,       // int8 left, top, right, bottom; colour blue, green, red, reserved
    MakeCenter,   // int16 width
    DrawLine,     // int16 start x, end x, start y, end y; index
    Dither,       // int64 method
    IncreaseBpp,  // uint32 bit count
    Palette,      // nearest to colour (4 bytes); set entry, red, green, blue, alpha; bit 0 of the last: gray palette
    Pixels,       // int16 x, y; index; colour (3 bytes): checked access anywhere, blind access inside
    Transfer,     // byte modulo 3: a takes b, b takes a, a takes itself; then b copies a's information
    Recreate,     // bit 0: b is created from a's rows, flipped
    SetPalette,   // count (modulo b's colours + 1) of b's palette entries into a
    Destroy,      //
    // HalvImage
    Tattoo,        // bit 0: keep the result
    TattooQ6,      // bit 0: keep the result
    CvtGray,       //
    Moments,       //
    Diffuse,       // int32 threshold
    Gamma,         // uint16 split (-512 + split % 1280), float low gamma, float high gamma
    UnsharpMask,   // float amount, int8 size
    GaussianFast,  // int8 size, float sigma
    Gaussian,      // int8 size (modulo 32), float sigma x, float sigma y
    Convolve,      // int8 size (modulo 32), float sigma, bit 0: horizontal
    Weighted,      // float weight
    Copies,        // bit 0: leave the image moved from
    FromDib,       // a's rows (GetEffWidth() bytes each) as a gray image
    Count
};
