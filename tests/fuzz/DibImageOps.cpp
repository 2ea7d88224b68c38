// SPDX-License-Identifier: Apache-2.0
#include "DibImageOps.h"

#include <algorithm>

namespace {

bool withinGrownSide(int64_t width, int64_t height)
{
    return width <= kMaxGrownSide && height <= kMaxGrownSide;
}

RGBQUAD colourOf(FuzzBytes& params)
{
    RGBQUAD colour;
    colour.rgbBlue = params.byte();
    colour.rgbGreen = params.byte();
    colour.rgbRed = params.byte();
    colour.rgbReserved = params.byte();
    return colour;
}

void lut(FuzzBytes& params, DibImage& a)
{
    const uint8_t factor = params.byte();
    const uint8_t offset = params.byte();
    uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
        table[i] = static_cast<uint8_t>(i * factor + offset);
    }
    a.Lut(table);
}

void expand(FuzzBytes& params, DibImage& a)
{
    const long left = params.value<int8_t>();
    const long top = params.value<int8_t>();
    const long right = params.value<int8_t>();
    const long bottom = params.value<int8_t>();
    const RGBQUAD colour = colourOf(params);
    if (withinGrownSide(a.GetWidth() + std::max(left, 0L) + std::max(right, 0L),
                        a.GetHeight() + std::max(top, 0L) + std::max(bottom, 0L))) {
        a.Expand(left, top, right, bottom, colour);
    }
}

void drawLine(FuzzBytes& params, DibImage& a)
{
    const int32_t startX = params.value<int16_t>();
    const int32_t endX = params.value<int16_t>();
    const int32_t startY = params.value<int16_t>();
    const int32_t endY = params.value<int16_t>();
    a.DrawLine(startX, endX, startY, endY, params.byte());
}

void palette(FuzzBytes& params, DibImage& a)
{
    a.GetNearestIndex(colourOf(params));
    const uint8_t index = params.byte();
    const uint8_t red = params.byte();
    const uint8_t green = params.byte();
    const uint8_t blue = params.byte();
    a.SetPaletteColor(index, red, green, blue, params.byte());
    const uint8_t last = params.byte();
    a.GetPaletteColor(last);
    if (last & 1) {
        a.SetGrayPalette();
    }
}

// Checked accessors anywhere; the blind ones, which do no checks, inside.
void pixels(FuzzBytes& params, DibImage& a)
{
    const long x = params.value<int16_t>();
    const long y = params.value<int16_t>();
    const uint8_t index = params.byte();
    a.SetPixelIndex(x, y, index);
    a.GetPixelIndex(y, x);
    if (!a.IsValid()) {
        return;
    }
    const long insideX = static_cast<long>(static_cast<uint16_t>(x) % a.GetWidth());
    const long insideY = static_cast<long>(static_cast<uint16_t>(y) % a.GetHeight());
    const RGBQUAD colour = {params.byte(), params.byte(), params.byte(), index};
    a.BlindSetPixelColor(insideX, insideY, colour);
    a.BlindGetPixelColor(insideX, insideY, (index & 1) != 0);
    a.BlindSetPixelIndex(insideX, insideY, static_cast<uint8_t>(a.BlindGetPixelIndex(insideX, insideY) + 1));
}

void transfer(FuzzBytes& params, DibImage& a, DibImage& b)
{
    const uint8_t which = params.byte() % 3;
    if (which == 0) {
        a.Transfer(b);
    } else if (which == 1) {
        b.Transfer(a);
    } else {
        a.Transfer(a);
    }
    b.CopyInfo(a);
}

}  // namespace

bool runDibImageOp(ImageOp op, FuzzBytes& params, DibImage& a, DibImage& b)
{
    switch (op) {
    case ImageOp::Light:
        a.Light(params.value<int32_t>(), params.value<int32_t>());
        return true;
    case ImageOp::Lut:
        lut(params, a);
        return true;
    case ImageOp::Negative:
        a.Negative();
        return true;
    case ImageOp::Rotate180:
        a.Rotate180((params.byte() & 1) != 0 ? &b : nullptr);
        return true;
    case ImageOp::Mirror:
        a.Mirror();
        return true;
    case ImageOp::Expand:
        expand(params, a);
        return true;
    case ImageOp::MakeCenter: {
        const int32_t width = params.value<int16_t>();
        if (withinGrownSide(width, a.GetHeight())) {
            a.MakeCenter(width);
        }
        return true;
    }
    case ImageOp::DrawLine:
        drawLine(params, a);
        return true;
    case ImageOp::Dither:
        a.Dither(static_cast<long>(params.value<int64_t>()));
        return true;
    case ImageOp::IncreaseBpp:
        a.IncreaseBpp(params.value<uint32_t>());
        return true;
    case ImageOp::Palette:
        palette(params, a);
        return true;
    case ImageOp::Pixels:
        pixels(params, a);
        return true;
    case ImageOp::Transfer:
        transfer(params, a, b);
        return true;
    case ImageOp::Recreate:
        b.CreateFromArray(a.GetBits(0), a.GetWidth(), a.GetHeight(), a.GetBpp(), a.GetEffWidth(),
                          (params.byte() & 1) != 0);
        return true;
    case ImageOp::SetPalette:
        a.SetPalette(b.GetPalette(), params.byte() % (b.GetNumColors() + 1));
        return true;
    case ImageOp::Destroy:
        a.Destroy();
        return true;
    default:
        return false;
    }
}
