// A slow, literal model of what the filter prints for one page: the image
// class (creation, pixel and palette access), the transforms, the dithering
// methods, the bit depth increase, the tattoo halftoning (TattooReference.h),
// the anti-wrinkle frame, the packing to one bit per pixel and the print
// area. Every pixel access is bounds
// checked (std::vector::at), so a model slip throws instead of reading
// stray memory. Nothing here calls the filter's own code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pageref {

struct Quad {
    uint8_t blue = 0;
    uint8_t green = 0;
    uint8_t red = 0;
    uint8_t reserved = 0;
};

// The palette image: header values, palette and pixel rows of effWidth
// bytes each, row 0 first.
class Image {
public:
    bool valid() const { return valid_; }
    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }
    uint32_t bitCount() const { return bitCount_; }
    uint32_t effWidth() const { return effWidth_; }
    uint32_t sizeImage() const { return effWidth_ * height_; }
    uint32_t numColors() const { return static_cast<uint32_t>(palette_.size()); }
    const std::vector<Quad>& palette() const { return palette_; }
    const std::vector<uint8_t>& bits() const { return bits_; }
    std::vector<uint8_t>& bits() { return bits_; }
    const std::string& lastError() const { return lastError_; }

    // Create(width, height, bitCount): false (and the image empty) when a
    // side is 0 or width x height x bitCount reaches 2^32. New pixel rows
    // and the palette are zero.
    bool create(uint32_t width, uint32_t height, uint32_t bitCount);
    void destroy();
    void setGrayPalette();
    // Copies min(palette size, count) entries.
    void setPalette(const std::vector<Quad>& palette, uint32_t count);
    void setPaletteColor(uint32_t index, uint8_t red, uint8_t green, uint8_t blue);
    uint8_t nearestIndex(const Quad& colour) const;

    uint8_t getPixelIndex(long x, long y) const;
    void setPixelIndex(long x, long y, uint8_t index);
    // Unchecked in the filter; here they still throw outside the rows.
    uint8_t blindGetPixelIndex(long x, long y) const;
    void blindSetPixelIndex(long x, long y, uint8_t index);

private:
    size_t byteOffset(long x, long y) const;

    bool valid_ = false;
    uint32_t width_ = 0;
    uint32_t height_ = 0;
    uint32_t bitCount_ = 0;
    uint32_t effWidth_ = 0;
    std::vector<Quad> palette_;
    std::vector<uint8_t> bits_;
    std::string lastError_;
};

// The image operations the page pipeline uses.
bool createFromArray(Image& image, const std::vector<uint8_t>& array, uint32_t width, uint32_t height,
                     uint32_t bytesPerLine);
void light(Image& image, int brightness, int contrast);
void rotate180(Image& image);
void mirror(Image& image);
void dither(Image& image, long method);
bool increaseBpp8(Image& image);
void negative(Image& image);
bool expand(Image& image, long left, long top, long right, long bottom, const Quad& colour);
// The tattoo path: copies the page through a buffer of the page stride,
// halftones it (q6: Tattoo_Q6, else Tattoo) and reloads the result as a gray
// image; returns the moment threshold.
int tattooHalftone(Image& image, uint32_t stride, bool q6);

// The frame; returns its log messages (without the "DEBUG:" prefix).
std::vector<std::string> enableAntiWrink(Image& image, int level, uint32_t resolution,
                                         const std::string& pageSizeName);

// Millimetre conversions of the frame.
uint32_t dots(uint32_t resolution, uint32_t hundredthsOfMm);
uint32_t lineV(int level, uint32_t resolution);

// What goes to the printer for a processed image.
struct Printed {
    unsigned areaOffset = 0;
    unsigned areaWidth = 0;
    size_t rowBytes = 0;
    size_t rows = 0;
    std::vector<size_t> packetSizes;  // payload length of each image-row packet
    std::vector<uint8_t> packed;      // rows * rowBytes
};
Printed printImage(const Image& image, uint32_t resolution);

// One raster page and the job settings that shape it.
struct PageInput {
    std::vector<uint8_t> pixels;  // height rows of bytesPerLine bytes
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bytesPerLine = 0;
    uint32_t resolution = 0;
    std::string pageSizeName;
};

struct JobSettings {
    int halftoneType = 0;  // 0 .. 7 dither methods, 8 Tattoo, 9 Tattoo_Q6
    int brightness = 0;    // setting, -100 .. 100
    int contrast = 0;      // setting, -100 .. 100
    bool rotate180 = false;
    bool mirror = false;
    bool negative = false;
    int antiWrinkle = -1;  // -1 without the option, 0 = no frame
};

struct ProcessedPage {
    Image image;                        // the image that is printed
    std::vector<std::string> frameLog;  // frame messages, empty when no frame
    Printed printed;
    int tattooThreshold = 0;            // the moment threshold; tattoo types only
};
ProcessedPage processPage(const PageInput& page, const JobSettings& settings);

}  // namespace pageref
