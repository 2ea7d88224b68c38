// SPDX-License-Identifier: Apache-2.0
#include "PageReference.h"

#include <stdexcept>

#include "TattooReference.h"

namespace pageref {

namespace {

// An 8-bit palette image as the pipeline holds it: rows of effWidth bytes
// (width rounded up to 4), padding included. The only palettes that matter
// are the gray ramp and black, white, then black entries.
struct Image {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t stride = 0;
    bool grayPalette = true;
    std::vector<uint8_t> bytes;

    Image(uint32_t w, uint32_t h, bool gray) : width(w), height(h), stride((w + 3) / 4 * 4), grayPalette(gray)
    {
        bytes.assign(static_cast<size_t>(stride) * h, 0);
    }
    uint8_t& at(long x, long y) { return bytes.at(static_cast<size_t>(y) * stride + static_cast<size_t>(x)); }
    bool inside(long x, long y) const { return x >= 0 && y >= 0 && x < long(width) && y < long(height); }
};

Image load(const PageInput& page)
{
    Image image(page.width, page.height, true);
    for (uint32_t y = 0; y < page.height; ++y) {
        for (uint32_t x = 0; x < page.width; ++x) {
            image.at(x, y) = page.pixels.at(static_cast<size_t>(y) * page.bytesPerLine + x);
        }
    }
    return image;
}

void light(Image& image, int brightness, int contrast)
{
    const float c = static_cast<float>(contrast + 100) / 100.0f;
    const int b = brightness + 128;
    uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
        int v = static_cast<int>(static_cast<float>(i - 128) * c + static_cast<float>(b) + 0.5f);
        v = v > 255 ? 255 : v;
        table[i] = static_cast<uint8_t>(v < 0 ? 0 : v);
    }
    for (uint32_t y = 0; y < image.height; ++y) {
        for (uint32_t x = 0; x < image.width; ++x) {
            image.at(x, y) = table[image.at(x, y)];
        }
    }
}

Image rotate180(Image& source)
{
    Image out(source.width, source.height, source.grayPalette);
    for (uint32_t y = 0; y < source.height; ++y) {
        for (uint32_t x = 0; x < source.width; ++x) {
            out.at(source.width - 1 - x, source.height - 1 - y) = source.at(x, y);
        }
    }
    return out;
}

Image mirror(Image& source)
{
    Image out(source.width, source.height, source.grayPalette);
    for (uint32_t y = 0; y < source.height; ++y) {
        for (uint32_t i = 0; i < source.width; ++i) {
            out.at(i, y) = source.at(source.width - 1 - i, y);
        }
    }
    return out;
}

struct Tap {
    int dx;
    int dy;
    int weight;
};

struct Kernel {
    int divisor;
    std::vector<Tap> taps;
};

// The diffusion kernels as the methods' tables read, taps in the order
// they are applied.
Kernel kernelFor(long method)
{
    // clang-format off
    switch (method) {
    case 2: return {32, {{1, 0, 8}, {2, 0, 4},
                         {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2}}};
    case 3: return {42, {{1, 0, 8}, {2, 0, 4},
                         {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2},
                         {-2, 2, 1}, {-1, 2, 2}, {0, 2, 4}, {1, 2, 2}, {2, 2, 1}}};
    case 4: return {48, {{1, 0, 7}, {2, 0, 5},
                         {-2, 1, 3}, {-1, 1, 5}, {0, 1, 7}, {1, 1, 5}, {2, 1, 3},
                         {-2, 2, 1}, {-1, 2, 3}, {0, 2, 5}, {1, 2, 3}, {2, 2, 1}}};
    case 5: return {32, {{1, 0, 5}, {2, 0, 3},
                         {-2, 1, 2}, {-1, 1, 4}, {0, 1, 5}, {1, 1, 4}, {2, 1, 2},
                         {-1, 2, 2}, {0, 2, 3}, {1, 2, 2}}};
    case 6: return {200, {{2, 0, 32},
                          {-3, 1, 12}, {-1, 1, 26}, {1, 1, 30}, {3, 1, 16},
                          {-2, 2, 12}, {0, 2, 26}, {2, 2, 12},
                          {-3, 3, 5}, {-1, 3, 12}, {1, 3, 12}, {3, 3, 5}}};
    default: return {16, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}};
    }
    // clang-format on
}

// The printed index (0 black, 1 white) of every pixel for a dither method,
// as an 8-bit image with the black-and-white palette.
Image dither(Image& source, long method)
{
    static const int kOrdered[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    static const int kBayer[4][4] = {{0, 192, 48, 240}, {128, 64, 176, 112}, {32, 224, 16, 208}, {160, 96, 144, 80}};
    Image out(source.width, source.height, false);
    const Kernel kernel = kernelFor(method);
    for (uint32_t y = 0; y < source.height; ++y) {
        for (uint32_t x = 0; x < source.width; ++x) {
            const int g = source.at(x, y);
            uint8_t& index = out.at(x, y);
            if (method == 0) {
                index = g >= 129;
            } else if (method == 1) {
                const int d = g * 16 / 255;
                const int levels[2] = {0, 1};
                index = static_cast<uint8_t>(kOrdered[y % 4][x % 4] < d % 16 ? levels[d / 16 + 1] : levels[d / 16]);
            } else if (method == 7) {
                index = g > kBayer[y % 4][x % 4];
            } else {
                index = g >= 129;
                const int64_t error = index ? g - 255 : g;
                for (const Tap& tap : kernel.taps) {
                    if (source.inside(long(x) + tap.dx, long(y) + tap.dy)) {
                        uint8_t& target = source.at(long(x) + tap.dx, long(y) + tap.dy);
                        const int64_t sum = target + error * tap.weight / kernel.divisor;
                        target = static_cast<uint8_t>(sum < 0 ? 0 : (sum > 255 ? 255 : sum));
                    }
                }
            }
        }
    }
    return out;
}

Image tattooHalftone(Image& source, bool q6)
{
    tattoo::Plane plane(static_cast<int>(source.width), static_cast<int>(source.height));
    for (uint32_t y = 0; y < source.height; ++y) {
        for (uint32_t x = 0; x < source.width; ++x) {
            plane.px.at(static_cast<size_t>(y) * source.width + x) = source.at(x, y);
        }
    }
    const tattoo::Plane halftoned = tattoo::halftone(plane, q6);
    Image out(source.width, source.height, true);
    for (uint32_t y = 0; y < source.height; ++y) {
        for (uint32_t x = 0; x < source.width; ++x) {
            out.at(x, y) = halftoned.px.at(static_cast<size_t>(y) * source.width + x);
        }
    }
    return out;
}

// Hundredths of a millimetre to dots, in unsigned 32-bit arithmetic.
uint32_t dots(uint32_t resolution, uint32_t hundredths)
{
    return ((resolution * hundredths) / 254 + 5) / 10;
}

// The enlargement fills the whole new block (padding included) with the
// palette's nearest index to white, then copies every source row.
bool expand(Image& image, uint32_t ex, uint32_t ey)
{
    const uint64_t width = uint64_t(image.width) + 2 * ex;
    const uint64_t height = uint64_t(image.height) + 2 * ey;
    if (width * height * 8 >= (uint64_t(1) << 32)) {
        return false;
    }
    Image out(uint32_t(width), uint32_t(height), image.grayPalette);
    std::fill(out.bytes.begin(), out.bytes.end(), image.grayPalette ? 255 : 1);
    for (uint32_t y = 0; y < image.height; ++y) {
        for (uint32_t x = 0; x < image.width; ++x) {
            out.at(x + ex, y + ey) = image.at(x, y);
        }
    }
    image = out;
    return true;
}

void fill(Image& image, long left, long top, long width, long height)
{
    for (long y = top; y < top + height; ++y) {
        for (long x = left; x < left + width; ++x) {
            if (image.inside(x, y)) {
                image.at(x, y) = 255;
            }
        }
    }
}

// The anti-wrinkle frame.
void frame(Image& image, int level, uint32_t resolution, const std::string& name)
{
    const uint32_t lineH = dots(resolution, 100);
    const uint32_t lineV = ((uint32_t(level) * 100u * resolution) / 254 + 5) / 10;
    struct Canvas {
        const char* name;
        uint32_t width;
        uint32_t height;
    };
    const Canvas canvases[] = {
        {"A4", 20000, 27500}, {"Letter", 21000, 25700}, {"Tattoo_A5", 20000, 11800}, {"Tattoo_A6", 10000, 11800}};
    int32_t canvasW = 0;
    int32_t canvasH = 0;
    for (const Canvas& c : canvases) {
        if (name == c.name) {
            canvasW = int32_t(dots(resolution, c.width) + 2 * lineV);
            canvasH = int32_t(dots(resolution, c.height) + 2 * lineH);
            break;
        }
    }
    const int32_t ex = int32_t(image.width) < canvasW ? (canvasW - int32_t(image.width)) / 2 : 0;
    const int32_t ey = int32_t(image.height) < canvasH ? (canvasH - int32_t(image.height)) / 2 : 0;
    if ((ex != 0 || ey != 0) && !expand(image, uint32_t(ex), uint32_t(ey))) {
        return;
    }
    const long offX = int32_t(image.width) > canvasW ? (int32_t(image.width) - canvasW) / 2 : 0;
    const long offY = int32_t(image.height) > canvasH ? (int32_t(image.height) - canvasH) / 2 : 0;
    const long v = long(lineV);
    const long h = long(lineH);
    fill(image, offX, offY, v, canvasH);
    fill(image, offX, offY, canvasW, h);
    fill(image, offX + canvasW - v, offY, v, canvasH);
    fill(image, offX, offY + canvasH - h, canvasW, h);
}

// Every byte of a row, padding included, packs to one dot: non-zero prints.
Printed print(Image& image, uint32_t resolution)
{
    Printed printed;
    printed.rowBytes = (image.stride + 7) / 8;
    printed.rows = image.height;
    printed.packed.assign(printed.rowBytes * printed.rows, 0);
    for (uint32_t y = 0; y < image.height; ++y) {
        for (uint32_t x = 0; x < image.stride; ++x) {
            if (image.bytes.at(static_cast<size_t>(y) * image.stride + x) != 0) {
                printed.packed.at(y * printed.rowBytes + x / 8) |= uint8_t(0x80 >> (x % 8));
            }
        }
    }
    const unsigned printable = resolution == 203 ? 1728 : 2592;
    printed.areaWidth = printable;
    if (image.width < printable) {
        printed.areaOffset = (printable - image.width) / 2 / 8 * 8;
        printed.areaWidth = unsigned(printed.rowBytes * 8);
    }
    return printed;
}

}  // namespace

Printed processPage(const PageInput& page, const JobSettings& settings)
{
    Image image = load(page);
    if (settings.brightness != 0 || settings.contrast != 0) {
        light(image, settings.brightness * 5, settings.contrast * 2);
    }
    if (settings.rotate180) {
        image = rotate180(image);
    }
    if (settings.mirror) {
        image = mirror(image);
    }
    if (settings.halftoneType == 8 || settings.halftoneType == 9) {
        if (page.bytesPerLine != page.width) {
            throw std::logic_error("model: the tattoo path reads rows width bytes apart");
        }
        image = tattooHalftone(image, settings.halftoneType == 9);
    } else {
        image = dither(image, settings.halftoneType);
    }
    if (settings.negative) {
        for (uint8_t& byte : image.bytes) {
            byte = uint8_t(~byte);
        }
    }
    if (settings.antiWrinkle != 0) {
        frame(image, settings.antiWrinkle, page.resolution, page.pageSizeName);
    }
    return print(image, page.resolution);
}

}  // namespace pageref
