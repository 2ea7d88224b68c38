#include "PageReference.h"

#include "TattooReference.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace pageref {

namespace {

std::string format(const char* fmt, ...)
{
    char text[512];
    va_list args;
    va_start(args, fmt);
    vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    return text;
}

struct Kernel {
    int dx;
    int dy;
    int weight;
};

struct Diffusion {
    int divisor;
    std::vector<Kernel> neighbours;
};

// Error diffusion kernels by method number, neighbours in the order applied.
Diffusion diffusionFor(long method)
{
    switch (method) {
    case 2:  // Burkes
        return {32, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2}}};
    case 3:  // Stucki
        return {42,
                {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2},
                 {-2, 2, 1}, {-1, 2, 2}, {0, 2, 4}, {1, 2, 2}, {2, 2, 1}}};
    case 4:  // Jarvis-Judice-Ninke
        return {48,
                {{1, 0, 7}, {2, 0, 5}, {-2, 1, 3}, {-1, 1, 5}, {0, 1, 7}, {1, 1, 5}, {2, 1, 3},
                 {-2, 2, 1}, {-1, 2, 3}, {0, 2, 5}, {1, 2, 3}, {2, 2, 1}}};
    case 5:  // Sierra
        return {32,
                {{1, 0, 5}, {2, 0, 3}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 5}, {1, 1, 4}, {2, 1, 2},
                 {-1, 2, 2}, {0, 2, 3}, {1, 2, 2}}};
    case 6:  // Stevenson-Arce
        return {200,
                {{2, 0, 32}, {-3, 1, 12}, {-1, 1, 26}, {1, 1, 30}, {3, 1, 16}, {-2, 2, 12}, {0, 2, 26},
                 {2, 2, 12}, {-3, 3, 5}, {-1, 3, 12}, {1, 3, 12}, {3, 3, 5}}};
    default:  // Floyd-Steinberg
        return {16, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}};
    }
}

void diffuse(Image& source, Image& target, const Diffusion& kernel)
{
    const long width = source.width();
    const long height = source.height();
    for (long y = 0; y < height; ++y) {
        for (long x = 0; x < width; ++x) {
            const int level = source.blindGetPixelIndex(x, y);
            int64_t error;
            if (level < 129) {
                target.setPixelIndex(x, y, 0);
                error = level;
            } else {
                target.setPixelIndex(x, y, 1);
                error = level - 255;
            }
            for (const Kernel& k : kernel.neighbours) {
                int64_t v = source.getPixelIndex(x + k.dx, y + k.dy);
                v += error * k.weight / kernel.divisor;  // truncates toward zero
                v = std::clamp<int64_t>(v, 0, 255);
                source.setPixelIndex(x + k.dx, y + k.dy, static_cast<uint8_t>(v));
            }
        }
    }
}

void thresholdMethod(Image& source, Image& target)
{
    for (long y = 0; y < static_cast<long>(source.height()); ++y) {
        for (long x = 0; x < static_cast<long>(source.width()); ++x) {
            target.setPixelIndex(x, y, source.blindGetPixelIndex(x, y) < 129 ? 0 : 255);
        }
    }
}

void orderedMethod(Image& source, Image& target)
{
    static const int matrix[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    static const uint8_t intensity[2] = {0, 1};
    for (long y = 0; y < static_cast<long>(source.height()); ++y) {
        for (long x = 0; x < static_cast<long>(source.width()); ++x) {
            const int g = source.blindGetPixelIndex(x, y) & 0xFF;
            const int d = (g * 16) / 255;
            const int low = d % 16;
            const int high = d / 16;
            const int level = matrix[y % 4][x % 4] < low ? high + 1 : high;
            target.blindSetPixelIndex(x, y, intensity[level]);
        }
    }
}

void bayerMethod(Image& source, Image& target)
{
    const int order = 4;
    std::vector<uint8_t> table(static_cast<size_t>(1) << (2 * order));
    for (size_t i = 0; i < table.size(); ++i) {
        unsigned a = static_cast<unsigned>(i) / order;
        unsigned b = static_cast<unsigned>(i) % order;
        unsigned value = 0;
        for (int n = 0; n < order; ++n) {
            value = (((value << 1) | ((a & 1) ^ (b & 1))) << 1) | (b & 1);
            a >>= 1;
            b >>= 1;
        }
        table.at(i) = static_cast<uint8_t>(value);
    }
    const int shift = std::max(0, 8 - 2 * order);
    for (long y = 0; y < static_cast<long>(source.height()); ++y) {
        for (long x = 0; x < static_cast<long>(source.width()); ++x) {
            const int g = source.blindGetPixelIndex(x, y) >> shift;
            const uint8_t entry = table.at(static_cast<size_t>(x % order + order * (y % order)));
            target.setPixelIndex(x, y, g > entry ? 1 : 0);
        }
    }
}

}  // namespace

// ---------------------------------------------------------------- Image

bool Image::create(uint32_t width, uint32_t height, uint32_t bitCount)
{
    destroy();
    if (width == 0 || height == 0) {
        lastError_ = "DibImage::Create : width and height must be greater than zero";
        return false;
    }
    if (bitCount <= 1) {
        bitCount = 1;
    } else if (bitCount <= 4) {
        bitCount = 4;
    } else if (bitCount <= 8) {
        bitCount = 8;
    } else {
        bitCount = 24;
    }
    const unsigned __int128 bitsNeeded =
        static_cast<unsigned __int128>(width) * height * bitCount;
    if (bitsNeeded >= (static_cast<unsigned __int128>(1) << 32)) {
        lastError_ = "DIBIMAGE_MAX_MEMORY exceeded";
        return false;
    }
    width_ = width;
    height_ = height;
    bitCount_ = bitCount;
    effWidth_ = static_cast<uint32_t>(((static_cast<uint64_t>(bitCount) * width + 31) / 32) * 4);
    const uint32_t colours = bitCount == 1 ? 2 : bitCount == 4 ? 16 : bitCount == 8 ? 256 : 0;
    palette_.assign(colours, Quad{});
    bits_.assign(static_cast<size_t>(effWidth_) * height_, 0);
    valid_ = true;
    return true;
}

void Image::destroy()
{
    valid_ = false;
    width_ = height_ = bitCount_ = effWidth_ = 0;
    palette_.clear();
    bits_.clear();
}

void Image::setGrayPalette()
{
    if (!valid_ || palette_.empty()) {
        return;
    }
    const uint32_t n = numColors();
    for (uint32_t i = 0; i < n; ++i) {
        const uint8_t level = static_cast<uint8_t>(i * (255 / (n - 1)));
        palette_.at(i).blue = palette_.at(i).green = palette_.at(i).red = level;
    }
}

void Image::setPalette(const std::vector<Quad>& palette, uint32_t count)
{
    if (!valid_ || palette_.empty()) {
        return;
    }
    const size_t n = std::min<size_t>(palette_.size(), count);
    for (size_t i = 0; i < n; ++i) {
        palette_.at(i) = palette.at(i);
    }
}

void Image::setPaletteColor(uint32_t index, uint8_t red, uint8_t green, uint8_t blue)
{
    if (valid_ && index < numColors()) {
        palette_.at(index).red = red;
        palette_.at(index).green = green;
        palette_.at(index).blue = blue;
    }
}

uint8_t Image::nearestIndex(const Quad& colour) const
{
    if (!valid_ || palette_.empty()) {
        return 0;
    }
    long best = 200000;
    uint8_t index = 0;
    for (size_t j = 0; j < palette_.size(); ++j) {
        const long db = long(palette_[j].blue) - colour.blue;
        const long dg = long(palette_[j].green) - colour.green;
        const long dr = long(palette_[j].red) - colour.red;
        const long distance = db * db + dg * dg + dr * dr;
        if (distance == 0) {
            return static_cast<uint8_t>(j);
        }
        if (distance < best) {
            best = distance;
            index = static_cast<uint8_t>(j);
        }
    }
    return index;
}

size_t Image::byteOffset(long x, long y) const
{
    if (x < 0 || y < 0) {
        throw std::out_of_range("model: negative pixel position");
    }
    return static_cast<size_t>(y) * effWidth_ + static_cast<size_t>(x) * bitCount_ / 8;
}

uint8_t Image::blindGetPixelIndex(long x, long y) const
{
    const uint8_t byte = bits_.at(byteOffset(x, y));
    switch (bitCount_) {
    case 8: return byte;
    case 4: return (x % 2 == 0) ? byte >> 4 : byte & 0x0F;
    case 1: return (byte >> (7 - x % 8)) & 1;
    default: return 0;
    }
}

void Image::blindSetPixelIndex(long x, long y, uint8_t index)
{
    uint8_t& byte = bits_.at(byteOffset(x, y));
    switch (bitCount_) {
    case 8: byte = index; break;
    case 4:
        byte = (x % 2 == 0) ? static_cast<uint8_t>((byte & 0x0F) | ((index & 0x0F) << 4))
                            : static_cast<uint8_t>((byte & 0xF0) | (index & 0x0F));
        break;
    case 1: {
        const uint8_t bit = static_cast<uint8_t>(0x80 >> (x % 8));
        byte = (index & 1) ? (byte | bit) : static_cast<uint8_t>(byte & ~bit);
        break;
    }
    default: break;
    }
}

uint8_t Image::getPixelIndex(long x, long y) const
{
    if (!valid_ || palette_.empty()) {
        return 0;
    }
    if (x < 0 || y < 0 || x >= static_cast<long>(width_) || y >= static_cast<long>(height_)) {
        return bits_.at(0);
    }
    return blindGetPixelIndex(x, y);
}

void Image::setPixelIndex(long x, long y, uint8_t index)
{
    if (!valid_ || palette_.empty()) {
        return;
    }
    if (x < 0 || y < 0 || x >= static_cast<long>(width_) || y >= static_cast<long>(height_)) {
        return;
    }
    blindSetPixelIndex(x, y, index);
}

// ---------------------------------------------------------------- operations

bool createFromArray(Image& image, const std::vector<uint8_t>& array, uint32_t width, uint32_t height,
                     uint32_t bytesPerLine)
{
    if (!image.create(width, height, 8)) {
        return false;
    }
    image.setGrayPalette();
    const size_t count = std::min<size_t>(image.effWidth(), bytesPerLine);
    for (uint32_t y = 0; y < height; ++y) {
        for (size_t i = 0; i < count; ++i) {
            image.bits().at(static_cast<size_t>(y) * image.effWidth() + i) =
                array.at(static_cast<size_t>(y) * bytesPerLine + i);
        }
    }
    return true;
}

void light(Image& image, int brightness, int contrast)
{
    if (!image.valid()) {
        return;
    }
    uint8_t table[256];
    const float c = static_cast<float>(contrast + 100) / 100.0f;
    const int b = brightness + 128;
    for (int i = 0; i < 256; ++i) {
        const float product = static_cast<float>(i - 128) * c;
        const float shifted = product + static_cast<float>(b);
        const float rounded = shifted + 0.5f;
        int v = static_cast<int>(rounded);
        v = std::min(v, 255);
        if (v < 0) {
            v = 0;
        }
        table[i] = static_cast<uint8_t>(v);
    }
    for (long y = 0; y < static_cast<long>(image.height()); ++y) {
        for (long x = 0; x < static_cast<long>(image.width()); ++x) {
            image.blindSetPixelIndex(x, y, table[image.blindGetPixelIndex(x, y)]);
        }
    }
}

void rotate180(Image& image)
{
    if (!image.valid()) {
        return;
    }
    Image rotated;
    if (!rotated.create(image.width(), image.height(), 8)) {
        return;
    }
    rotated.setPalette(image.palette(), image.numColors());
    const long w = image.width();
    const long h = image.height();
    for (long y = 0; y < h; ++y) {
        for (long x = 0; x < w; ++x) {
            rotated.blindSetPixelIndex(w - 1 - x, h - 1 - y, image.getPixelIndex(x, y));
        }
    }
    image = std::move(rotated);
}

void mirror(Image& image)
{
    if (!image.valid()) {
        return;
    }
    Image mirrored;
    if (!mirrored.create(image.width(), image.height(), 8)) {
        return;
    }
    mirrored.setPalette(image.palette(), image.numColors());
    const size_t k = image.bitCount() == 24 ? 3 : 1;
    const size_t last = (static_cast<size_t>(image.width()) - 1) * k;
    const size_t stride = image.effWidth();
    for (size_t y = 0; y < image.height(); ++y) {
        for (size_t i = 0; i <= last; ++i) {
            mirrored.bits().at(y * stride + i) = image.bits().at(y * stride + last - i);
        }
    }
    image = std::move(mirrored);
}

void dither(Image& image, long method)
{
    if (!image.valid() || image.bitCount() == 1) {
        return;
    }
    Image target;
    if (!target.create(image.width(), image.height(), 1)) {
        return;
    }
    switch (method) {
    case 0: thresholdMethod(image, target); break;
    case 1: orderedMethod(image, target); break;
    case 7: bayerMethod(image, target); break;
    default: diffuse(image, target, diffusionFor(method)); break;
    }
    target.setPaletteColor(0, 0, 0, 0);
    target.setPaletteColor(1, 255, 255, 255);
    image = std::move(target);
}

bool increaseBpp8(Image& image)
{
    if (!image.valid()) {
        return false;
    }
    if (image.bitCount() == 8) {
        return true;
    }
    if (image.bitCount() > 8) {
        return false;
    }
    Image wide;
    if (!wide.create(image.width(), image.height(), 8)) {
        return false;
    }
    wide.setPalette(image.palette(), image.numColors());
    for (long y = 0; y < static_cast<long>(image.height()); ++y) {
        for (long x = 0; x < static_cast<long>(image.width()); ++x) {
            wide.blindSetPixelIndex(x, y, image.blindGetPixelIndex(x, y));
        }
    }
    image = std::move(wide);
    return true;
}

void negative(Image& image)
{
    if (!image.valid()) {
        return;
    }
    for (uint32_t i = 0; i < image.sizeImage(); ++i) {
        image.bits().at(i) = static_cast<uint8_t>(~image.bits().at(i));
    }
}

bool expand(Image& image, long left, long top, long right, long bottom, const Quad& colour)
{
    if (!image.valid() || left < 0 || top < 0 || right < 0 || bottom < 0) {
        return false;
    }
    if (image.bitCount() != 8) {
        throw std::logic_error("model: expand is only modelled for 8-bit images");
    }
    const uint64_t newWidth = image.width() + left + right;
    const uint64_t newHeight = image.height() + top + bottom;
    if (newWidth > UINT32_MAX || newHeight > UINT32_MAX) {
        throw std::logic_error("model: expanded size beyond 32 bits");
    }
    Image bigger;
    if (!bigger.create(static_cast<uint32_t>(newWidth), static_cast<uint32_t>(newHeight), 8)) {
        return false;
    }
    bigger.setPalette(image.palette(), image.numColors());
    std::fill(bigger.bits().begin(), bigger.bits().end(), bigger.nearestIndex(colour));
    for (size_t y = 0; y < image.height(); ++y) {
        for (size_t x = 0; x < image.width(); ++x) {
            bigger.bits().at((bottom + y) * bigger.effWidth() + left + x) = image.bits().at(y * image.effWidth() + x);
        }
    }
    image = std::move(bigger);
    return true;
}

uint32_t dots(uint32_t resolution, uint32_t hundredthsOfMm)
{
    return ((resolution * hundredthsOfMm) / 254 + 5) / 10;
}

uint32_t lineV(int level, uint32_t resolution)
{
    return ((static_cast<uint32_t>(level) * 100u * resolution) / 254 + 5) / 10;
}

std::vector<std::string> enableAntiWrink(Image& image, int level, uint32_t resolution, const std::string& name)
{
    std::vector<std::string> log;
    if (!image.valid()) {
        log.push_back("EnableAntiWrink: Image or pageHdr_ is not valid, returning.");
        return log;
    }
    const uint32_t lineH = dots(resolution, 100);
    const uint32_t lineVDots = lineV(level, resolution);
    log.push_back(format("EnableAntiWrink: AntiWrinkle level: %d, line_v: %d points, line_h: %d points.", level,
                         static_cast<int>(lineVDots), static_cast<int>(lineH)));
    int canvasWidth = 0;
    int canvasHeight = 0;
    struct Canvas {
        const char* name;
        uint32_t width;
        uint32_t height;
    };
    static const Canvas canvases[] = {
        {"A4", 20000, 27500}, {"Letter", 21000, 25700}, {"Tattoo_A5", 20000, 11800}, {"Tattoo_A6", 10000, 11800}};
    for (const Canvas& canvas : canvases) {
        if (name == canvas.name) {
            canvasWidth = static_cast<int>(dots(resolution, canvas.width) + 2 * lineVDots);
            canvasHeight = static_cast<int>(dots(resolution, canvas.height) + 2 * lineH);
            log.push_back(format("EnableAntiWrink: Page size is %s, CanvasWidth: %d, CanvasHeight: %d", canvas.name,
                                 canvasWidth, canvasHeight));
            break;
        }
    }
    int ex = 0;
    int ey = 0;
    if (static_cast<int>(image.width()) < canvasWidth) {
        ex = (canvasWidth - static_cast<int>(image.width())) / 2;
        log.push_back(format("EnableAntiWrink: Image width is less than canvas width, exPoints: %d", ex));
    }
    if (static_cast<int>(image.height()) < canvasHeight) {
        ey = (canvasHeight - static_cast<int>(image.height())) / 2;
        log.push_back(format("EnableAntiWrink: Image height is less than canvas height, eyPoints: %d", ey));
    }
    if (ex != 0 || ey != 0) {
        if (!expand(image, ex, ey, ex, ey, Quad{255, 255, 255, 0})) {
            log.push_back("EnableAntiWrink: Failed to expand image, returning.");
            return log;
        }
        log.push_back("EnableAntiWrink: Image expanded successfully.");
    }
    int offsetX = 0;
    int offsetY = 0;
    if (static_cast<int>(image.width()) > canvasWidth) {
        offsetX = (static_cast<int>(image.width()) - canvasWidth) / 2;
        log.push_back(format("EnableAntiWrink: Image width is greater than canvas width, offset.x: %d", offsetX));
    }
    if (static_cast<int>(image.height()) > canvasHeight) {
        offsetY = (static_cast<int>(image.height()) - canvasHeight) / 2;
        log.push_back(format("EnableAntiWrink: Image height is greater than canvas height, offset.y: %d", offsetY));
    }
    const int lv = static_cast<int>(lineVDots);
    const int lh = static_cast<int>(lineH);
    int col = 0;
    int row = 0;
    auto rectangle = [&](const char* side, int startCol, int startRow, int columns, int rows) {
        for (row = startRow; row < startRow + rows; ++row) {
            for (col = startCol; col < startCol + columns; ++col) {
                image.setPixelIndex(col, row, 255);
            }
        }
        log.push_back(
            format("EnableAntiWrink: Drawing %s line. point(%d, %d, %d, %d)", side, startCol, startRow, col, row));
    };
    rectangle("left", offsetX, offsetY, lv, canvasHeight);
    rectangle("top", offsetX, offsetY, canvasWidth, lh);
    rectangle("right", offsetX + canvasWidth - lv, offsetY, lv, canvasHeight);
    rectangle("bottom", offsetX, offsetY + canvasHeight - lh, canvasWidth, lh);
    return log;
}

Printed printImage(const Image& image, uint32_t resolution)
{
    Printed printed;
    const size_t bytesPerLine = image.effWidth();
    const size_t height = image.height();
    const size_t wb = bytesPerLine;  // no pixels skipped at the right
    std::vector<uint8_t> packed;
    for (size_t y = 0; y < height; ++y) {
        uint8_t accumulator = 0;
        for (size_t x = 0; x < wb; ++x) {
            if (image.bits().at(y * bytesPerLine + x) != 0) {
                accumulator |= static_cast<uint8_t>(0x80 >> (x % 8));
            }
            if (x % 8 == 7) {
                packed.push_back(accumulator);
                accumulator = 0;
            }
        }
        if (wb % 8 != 0) {
            packed.push_back(accumulator);
        }
    }
    const long monoBytes = static_cast<long>(packed.size());
    const long rowBytes = monoBytes / static_cast<long>(height);
    const long cx = image.width();
    const long printable = resolution == 203 ? 1728 : 2592;
    long offset = 0;
    long areaWidth = printable;
    if (cx < printable) {
        offset = ((printable - cx) / 2) / 8 * 8;
        areaWidth = rowBytes * 8;
    }
    printed.areaOffset = static_cast<unsigned>(offset & 0xFFFF);
    printed.areaWidth = static_cast<unsigned>(areaWidth & 0xFFFF);
    printed.rowBytes = static_cast<size_t>(rowBytes);
    printed.rows = height;
    for (size_t block = 0; block < height / 4; ++block) {
        printed.packetSizes.push_back(4 * printed.rowBytes);
    }
    if (height % 4 != 0) {
        printed.packetSizes.push_back((height % 4) * printed.rowBytes);
    }
    printed.packed = std::move(packed);
    return printed;
}

int tattooHalftone(Image& image, uint32_t stride, bool q6)
{
    // The page goes through a buffer with the page's stride, and the
    // toolkit takes width x height bytes from its start: rows are only
    // where it expects them when the stride is the width (the bytes between
    // the rows would be whatever the buffer held).
    const uint32_t width = image.width();
    const uint32_t height = image.height();
    if (stride != width) {
        throw std::logic_error("model: the tattoo path is only modelled for a page stride equal to the width");
    }
    std::vector<uint8_t> buffer(static_cast<size_t>(stride) * height, 0);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            buffer.at(static_cast<size_t>(y) * stride + x) = image.getPixelIndex(x, y);
        }
    }
    tattoo::Plane source(static_cast<int>(width), static_cast<int>(height));
    std::copy(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(source.px.size()), source.px.begin());
    const tattoo::Halftoned halftoned = tattoo::halftone(source, q6);
    // The result becomes a new 8-bit gray image, read with the width as its
    // stride.
    if (!createFromArray(image, halftoned.image.px, width, height, width)) {
        throw std::logic_error("model: the halftone cannot be loaded");
    }
    return halftoned.threshold;
}

ProcessedPage processPage(const PageInput& page, const JobSettings& settings)
{
    ProcessedPage result;
    Image& image = result.image;
    if (!createFromArray(image, page.pixels, page.width, page.height, page.bytesPerLine)) {
        throw std::logic_error("model: page cannot be loaded");
    }
    if (settings.brightness != 0 || settings.contrast != 0) {
        light(image, settings.brightness * 5, settings.contrast * 2);
    }
    if (settings.rotate180) {
        rotate180(image);
    }
    if (settings.mirror) {
        mirror(image);
    }
    if (settings.halftoneType == 8 || settings.halftoneType == 9) {
        result.tattooThreshold = tattooHalftone(image, page.bytesPerLine, settings.halftoneType == 9);
    } else {
        dither(image, settings.halftoneType);
        increaseBpp8(image);
    }
    if (settings.negative) {
        negative(image);
    }
    if (settings.antiWrinkle != 0) {
        result.frameLog = enableAntiWrink(image, settings.antiWrinkle, page.resolution, page.pageSizeName);
    }
    result.printed = printImage(image, page.resolution);
    return result;
}

}  // namespace pageref
