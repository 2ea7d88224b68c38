// SPDX-License-Identifier: Apache-2.0
// DibImage: the palette-based raster image of the page pipeline.
//
// One block (malloc'ed, or page memory when it is page-sized) holds a copy of the 40-byte bitmap information header,
// the palette (blue, green, red, reserved per entry) and the pixel rows, each
// row GetEffWidth() bytes apart (a multiple of 4). Row y of every operation is
// the y-th stored row; nothing flips rows implicitly. Pixels of 1 and 4 bits
// are packed from the most significant bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#pragma pack(push, 1)
struct RGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
};

struct BITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
};
#pragma pack(pop)
static_assert(sizeof(BITMAPINFOHEADER) == 40, "bitmap information header is 40 bytes");

class DibImage {
public:
    DibImage();
    ~DibImage();
    DibImage(const DibImage&) = delete;
    DibImage& operator=(const DibImage&) = delete;

    // Creation and ownership (image core).
    void* Create(uint32_t width, uint32_t height, uint32_t bitCount, uint32_t type);
    // `copied`, when given, is called every few rows and after the last one
    // with the number of source rows copied so far: the array's rows before
    // that are read no more.
    bool CreateFromArray(const uint8_t* array, uint32_t width, uint32_t height, uint32_t bitCount,
                         uint32_t bytesPerLine, bool flip, const std::function<void(uint32_t)>& copied = {});
    bool Destroy();
    // Where the rows of an 8-bit gray image start in its block.
    static constexpr size_t kGrayRowsOffset = 40 + 256 * 4;
    // Whether rows `bytesPerLine` bytes apart are laid out as an 8-bit gray
    // image of that size keeps its rows (no copy needed).
    static bool CanAdoptGrayRows(uint32_t width, uint32_t height, uint32_t bytesPerLine);
    // Becomes that 8-bit gray image, taking over a block of page memory whose
    // rows (from kGrayRowsOffset on) are the image's, as CanAdoptGrayRows
    // allows: the same image CreateFromArray would make of them, without the
    // copy. The block is the image's from then on.
    void AdoptGrayRows(void* block, uint32_t width, uint32_t height);
    bool Transfer(DibImage& from, bool transferFrames = true);
    void CopyInfo(const DibImage& from);

    bool IsValid() const;
    uint8_t* GetBits(uint32_t row = 0) const;
    uint32_t GetSize() const;
    uint32_t GetWidth() const;
    uint32_t GetHeight() const;
    uint32_t GetEffWidth() const;
    uint32_t GetNumColors() const;
    uint32_t GetBpp() const;
    const char* GetLastError() const;

    // Palette.
    RGBQUAD* GetPalette() const;
    uint32_t GetPaletteSize() const;
    void SetPalette(const RGBQUAD* palette, uint32_t count);
    RGBQUAD GetPaletteColor(uint8_t index) const;
    void SetPaletteColor(uint8_t index, uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha = 0);
    void SetGrayPalette();
    uint8_t GetNearestIndex(RGBQUAD colour);

    // Pixel access: the checked forms ignore (set) or answer the first pixel
    // byte (get) outside the image; the blind forms do no checks at all.
    uint8_t GetPixelIndex(long x, long y) const;
    void SetPixelIndex(long x, long y, uint8_t index);
    uint8_t BlindGetPixelIndex(long x, long y) const;
    void BlindSetPixelIndex(long x, long y, uint8_t index);
    RGBQUAD BlindGetPixelColor(long x, long y, bool getAlpha = true) const;
    void BlindSetPixelColor(long x, long y, RGBQUAD colour, bool setAlpha = false);

    // Whole-image transforms.
    bool Light(long brightness, long contrast);
    bool Lut(const uint8_t* table);
    void Negative();
    bool Rotate180(DibImage* target = nullptr);
    void Mirror();
    bool Expand(long left, long top, long right, long bottom, RGBQUAD canvasColour);
    void MakeCenter(int32_t newWidth);
    void DrawLine(int32_t startX, int32_t endX, int32_t startY, int32_t endY, uint8_t index);

    // Halftoning to 1 bit (method numbers as in Dither.cpp) and widening.
    bool Dither(long method);
    bool IncreaseBpp(uint32_t bitCount);

private:
    struct Info {
        uint32_t effWidth;
        uint8_t* imageBits;
        uint32_t type;
        char lastError[256];
        RGBQUAD lastColour;
        uint8_t lastColourIndex;
        bool lastColourValid;
        bool pageMemory;  // the block comes from pageMemoryAcquire
    };

    void setLastError(const char* text);
    // Makes the block this image's, as an image of that size and depth (one
    // Create accepts).
    void takeBlock(void* block, bool pageMemory, uint32_t width, uint32_t height, unsigned bpp, uint32_t type);
    // An empty image of the given size and depth with this image's
    // information block and palette, to be filled and transferred back.
    bool createReplacement(DibImage& replacement, uint32_t width, uint32_t height, uint32_t bitCount) const;

    BITMAPINFOHEADER head_;
    Info info_;
    void* block_;
};
