// SPDX-License-Identifier: Apache-2.0
// DibImage core: the bitmap block, creation, ownership transfer, palette and
// per-pixel access.

#include "dibimage/DibImage.h"

#include <cstdlib>
#include <cstring>

#include "PixelRows.h"
#include "common/PageMemory.h"

using dibimage_detail::normaliseBpp;
using dibimage_detail::rowGetIndex;
using dibimage_detail::rowSetIndex;

namespace {

constexpr uint32_t kHeaderSize = sizeof(BITMAPINFOHEADER);
static_assert(DibImage::kGrayRowsOffset == kHeaderSize + 256 * sizeof(RGBQUAD));
constexpr char kErrNoSize[] = "DibImage::Create : width and height must be greater than zero";
constexpr char kErrTooBig[] = "DIBIMAGE_MAX_MEMORY exceeded";
constexpr char kErrNoMemory[] = "DibImage::Create can't allocate memory";

// Beyond this squared distance a palette entry is never taken as "nearest"
// (it is above the largest possible distance, 3 * 255 * 255, anyway).
constexpr long kNearestLimit = 200000;

// The sizes of an image of one of the depths Create makes.
struct Layout {
    uint32_t width;
    uint32_t height;
    unsigned bpp;
    uint64_t effWidth;
    uint32_t colours;
    uint64_t sizeImage;
    uint64_t total;
};

// False when the image is too big: its pixel data, counted in bits, must stay
// below 2^32, and the whole block (header, palette, padded rows) must be
// addressable with 32-bit sizes.
bool layoutOf(uint32_t width, uint32_t height, unsigned bpp, Layout& layout)
{
    layout.width = width;
    layout.height = height;
    layout.bpp = bpp;
    layout.effWidth = ((static_cast<uint64_t>(bpp) * width + 31) / 32) * 4;
    layout.colours = bpp == 1 ? 2 : bpp == 4 ? 16 : bpp == 8 ? 256 : 0;
    layout.sizeImage = layout.effWidth * height;
    layout.total = kHeaderSize + static_cast<uint64_t>(layout.colours) * sizeof(RGBQUAD) + layout.sizeImage;
    const unsigned __int128 bits = static_cast<unsigned __int128>(width) * height * bpp;
    return (bits >> 32) == 0 && layout.total <= UINT32_MAX;
}

// CreateFromArray reports its progress every this many rows.
constexpr uint32_t kRowsPerReport = 64;

}  // namespace

DibImage::DibImage() : block_(nullptr)
{
    std::memset(&head_, 0, sizeof(head_));
    std::memset(&info_, 0, sizeof(info_));
}

DibImage::~DibImage()
{
    Destroy();
}

void DibImage::setLastError(const char* text)
{
    if (text == info_.lastError) {
        return;
    }
    std::strncpy(info_.lastError, text ? text : "", sizeof(info_.lastError) - 1);
    info_.lastError[sizeof(info_.lastError) - 1] = '\0';
}

void* DibImage::Create(uint32_t width, uint32_t height, uint32_t bitCount, uint32_t type)
{
    if (!Destroy()) {
        return nullptr;
    }
    if (width == 0 || height == 0) {
        setLastError(kErrNoSize);
        return nullptr;
    }
    const unsigned bpp = normaliseBpp(bitCount);
    Layout layout;
    if (!layoutOf(width, height, bpp, layout)) {
        setLastError(kErrTooBig);
        return nullptr;
    }
    // Palette and every row byte, padding included, start at zero. A page
    // comes from page memory, so that its first writes are cheap and the next
    // image of the page can take over its memory.
    const bool pageSized = layout.total >= kPageMemoryMinimum;
    void* block = pageSized ? pageMemoryAcquire(static_cast<size_t>(layout.total), true)
                            : std::calloc(1, static_cast<size_t>(layout.total));
    if (!block) {
        setLastError(kErrNoMemory);
        return nullptr;
    }
    takeBlock(block, pageSized, width, height, bpp, type);
    return block_;
}

bool DibImage::CanAdoptGrayRows(uint32_t width, uint32_t height, uint32_t bytesPerLine)
{
    Layout layout;
    return width != 0 && height != 0 && layoutOf(width, height, 8, layout) && layout.effWidth == bytesPerLine;
}

void DibImage::AdoptGrayRows(void* block, uint32_t width, uint32_t height)
{
    Destroy();
    std::memset(static_cast<uint8_t*>(block) + kHeaderSize, 0, kGrayRowsOffset - kHeaderSize);
    takeBlock(block, true, width, height, 8, 0);
    SetGrayPalette();
}

void DibImage::takeBlock(void* block, bool pageMemory, uint32_t width, uint32_t height, unsigned bpp, uint32_t type)
{
    Layout layout;
    layoutOf(width, height, bpp, layout);
    head_.biSize = kHeaderSize;
    head_.biWidth = static_cast<int32_t>(layout.width);
    head_.biHeight = static_cast<int32_t>(layout.height);
    head_.biPlanes = 1;
    head_.biBitCount = static_cast<uint16_t>(layout.bpp);
    head_.biCompression = 0;
    head_.biSizeImage = static_cast<uint32_t>(layout.sizeImage);
    head_.biXPelsPerMeter = 0;
    head_.biYPelsPerMeter = 0;
    head_.biClrUsed = layout.colours;
    head_.biClrImportant = 0;

    block_ = block;
    info_.pageMemory = pageMemory;
    std::memcpy(block_, &head_, kHeaderSize);
    info_.effWidth = static_cast<uint32_t>(layout.effWidth);
    info_.type = type;
    info_.imageBits = GetBits(0);
    // The palette is new: a remembered nearest colour no longer applies.
    info_.lastColourValid = false;
}

bool DibImage::CreateFromArray(const uint8_t* array, uint32_t width, uint32_t height, uint32_t bitCount,
                               uint32_t bytesPerLine, bool flip, const std::function<void(uint32_t)>& copied)
{
    if (!array) {
        return false;
    }
    if (bitCount != 1 && bitCount != 4 && bitCount != 8 && bitCount != 24 && bitCount != 32) {
        return false;
    }
    if (!Create(width, height, bitCount, 0)) {
        return false;
    }
    if (bitCount < 24) {
        SetGrayPalette();
    }

    const size_t stride = info_.effWidth;
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* src = array + static_cast<size_t>(y) * bytesPerLine;
        uint8_t* dst = info_.imageBits + static_cast<size_t>(flip ? height - 1 - y : y) * stride;
        if (bitCount == 32) {
            for (uint32_t x = 0; x < width; ++x) {
                dst[3 * static_cast<size_t>(x) + 0] = src[4 * static_cast<size_t>(x) + 0];
                dst[3 * static_cast<size_t>(x) + 1] = src[4 * static_cast<size_t>(x) + 1];
                dst[3 * static_cast<size_t>(x) + 2] = src[4 * static_cast<size_t>(x) + 2];
            }
        } else {
            std::memcpy(dst, src, stride < bytesPerLine ? stride : bytesPerLine);
        }
        if (copied && ((y + 1) % kRowsPerReport == 0 || y + 1 == height)) {
            copied(y + 1);
        }
    }
    return true;
}

bool DibImage::Destroy()
{
    if (block_) {
        if (info_.pageMemory) {
            pageMemoryRelease(block_);
        } else {
            std::free(block_);
        }
        block_ = nullptr;
    }
    // An empty image reports zero sizes; the rest of the information block
    // (type, last error, nearest-colour cache) is kept.
    std::memset(&head_, 0, sizeof(head_));
    info_.effWidth = 0;
    info_.imageBits = nullptr;
    return true;
}

bool DibImage::Transfer(DibImage& from, bool /*transferFrames*/)
{
    if (&from == this) {
        return true;
    }
    Destroy();
    head_ = from.head_;
    info_ = from.info_;
    block_ = from.block_;
    std::memset(&from.head_, 0, sizeof(from.head_));
    std::memset(&from.info_, 0, sizeof(from.info_));
    from.block_ = nullptr;
    return true;
}

void DibImage::CopyInfo(const DibImage& from)
{
    if (block_ || &from == this) {
        return;
    }
    info_ = from.info_;
}

bool DibImage::createReplacement(DibImage& replacement, uint32_t width, uint32_t height, uint32_t bitCount) const
{
    replacement.CopyInfo(*this);
    if (!replacement.Create(width, height, bitCount, info_.type)) {
        return false;
    }
    replacement.SetPalette(GetPalette(), GetNumColors());
    return true;
}

bool DibImage::IsValid() const
{
    return block_ != nullptr;
}

uint8_t* DibImage::GetBits(uint32_t row) const
{
    if (!block_) {
        return nullptr;
    }
    uint8_t* bits = static_cast<uint8_t*>(block_) + kHeaderSize + GetPaletteSize();
    if (row == 0) {
        return bits;
    }
    if (row < GetHeight()) {
        return bits + static_cast<size_t>(row) * info_.effWidth;
    }
    return nullptr;
}

uint32_t DibImage::GetSize() const
{
    return kHeaderSize + head_.biSizeImage + GetPaletteSize();
}

uint32_t DibImage::GetWidth() const
{
    return static_cast<uint32_t>(head_.biWidth);
}

uint32_t DibImage::GetHeight() const
{
    return static_cast<uint32_t>(head_.biHeight);
}

uint32_t DibImage::GetEffWidth() const
{
    return info_.effWidth;
}

uint32_t DibImage::GetNumColors() const
{
    return head_.biClrUsed;
}

uint32_t DibImage::GetBpp() const
{
    return head_.biBitCount;
}

const char* DibImage::GetLastError() const
{
    return info_.lastError;
}

RGBQUAD* DibImage::GetPalette() const
{
    if (!block_ || head_.biClrUsed == 0) {
        return nullptr;
    }
    return reinterpret_cast<RGBQUAD*>(static_cast<uint8_t*>(block_) + kHeaderSize);
}

uint32_t DibImage::GetPaletteSize() const
{
    return head_.biClrUsed * static_cast<uint32_t>(sizeof(RGBQUAD));
}

void DibImage::SetPalette(const RGBQUAD* palette, uint32_t count)
{
    RGBQUAD* own = GetPalette();
    if (!palette || !own) {
        return;
    }
    const uint64_t wanted = static_cast<uint64_t>(count) * sizeof(RGBQUAD);
    const uint64_t room = GetPaletteSize();
    std::memmove(own, palette, static_cast<size_t>(wanted < room ? wanted : room));
    info_.lastColourValid = false;
}

RGBQUAD DibImage::GetPaletteColor(uint8_t index) const
{
    const RGBQUAD* pal = GetPalette();
    if (pal && index < head_.biClrUsed) {
        return pal[index];
    }
    return RGBQUAD{0, 0, 0, 0};
}

void DibImage::SetPaletteColor(uint8_t index, uint8_t red, uint8_t green, uint8_t blue, uint8_t alpha)
{
    RGBQUAD* pal = GetPalette();
    if (!pal || index >= head_.biClrUsed) {
        return;
    }
    pal[index].rgbBlue = blue;
    pal[index].rgbGreen = green;
    pal[index].rgbRed = red;
    pal[index].rgbReserved = alpha;
    info_.lastColourValid = false;
}

void DibImage::SetGrayPalette()
{
    RGBQUAD* pal = GetPalette();
    if (!pal) {
        return;
    }
    const uint32_t n = head_.biClrUsed;
    const uint32_t step = n > 1 ? 255 / (n - 1) : 0;
    for (uint32_t i = 0; i < n; ++i) {
        const uint8_t v = static_cast<uint8_t>(i * step);
        pal[i].rgbBlue = v;
        pal[i].rgbGreen = v;
        pal[i].rgbRed = v;
    }
    info_.lastColourValid = false;
}

uint8_t DibImage::GetNearestIndex(RGBQUAD colour)
{
    const RGBQUAD* pal = GetPalette();
    if (!pal) {
        return 0;
    }
    if (info_.lastColourValid && info_.lastColour.rgbBlue == colour.rgbBlue &&
        info_.lastColour.rgbGreen == colour.rgbGreen && info_.lastColour.rgbRed == colour.rgbRed &&
        info_.lastColour.rgbReserved == colour.rgbReserved) {
        return info_.lastColourIndex;
    }

    info_.lastColour = colour;
    info_.lastColourValid = true;

    const uint32_t n = head_.biClrImportant ? head_.biClrImportant : head_.biClrUsed;
    long best = kNearestLimit;
    uint32_t found = 0;
    for (uint32_t j = 0; j < n; ++j) {
        const long db = static_cast<long>(pal[j].rgbBlue) - colour.rgbBlue;
        const long dg = static_cast<long>(pal[j].rgbGreen) - colour.rgbGreen;
        const long dr = static_cast<long>(pal[j].rgbRed) - colour.rgbRed;
        const long dist = db * db + dg * dg + dr * dr;
        if (dist == 0) {
            found = j;
            break;
        }
        if (dist < best) {
            best = dist;
            found = j;
        }
    }
    info_.lastColourIndex = static_cast<uint8_t>(found);
    return info_.lastColourIndex;
}

uint8_t DibImage::GetPixelIndex(long x, long y) const
{
    if (!block_ || head_.biClrUsed == 0) {
        return 0;
    }
    if (x < 0 || y < 0 || x >= static_cast<long>(GetWidth()) || y >= static_cast<long>(GetHeight())) {
        return info_.imageBits[0];
    }
    return rowGetIndex(info_.imageBits + static_cast<size_t>(y) * info_.effWidth, static_cast<uint64_t>(x),
                       head_.biBitCount);
}

void DibImage::SetPixelIndex(long x, long y, uint8_t index)
{
    if (!block_ || head_.biClrUsed == 0) {
        return;
    }
    if (x < 0 || y < 0 || x >= static_cast<long>(GetWidth()) || y >= static_cast<long>(GetHeight())) {
        return;
    }
    rowSetIndex(info_.imageBits + static_cast<size_t>(y) * info_.effWidth, static_cast<uint64_t>(x), head_.biBitCount,
                index);
}

uint8_t DibImage::BlindGetPixelIndex(long x, long y) const
{
    return rowGetIndex(info_.imageBits + static_cast<ptrdiff_t>(y) * info_.effWidth, static_cast<uint64_t>(x),
                       head_.biBitCount);
}

void DibImage::BlindSetPixelIndex(long x, long y, uint8_t index)
{
    rowSetIndex(info_.imageBits + static_cast<ptrdiff_t>(y) * info_.effWidth, static_cast<uint64_t>(x),
                head_.biBitCount, index);
}

RGBQUAD DibImage::BlindGetPixelColor(long x, long y, bool getAlpha) const
{
    RGBQUAD c{0, 0, 0, 0};
    if (head_.biClrUsed) {
        c = GetPaletteColor(BlindGetPixelIndex(x, y));
    } else {
        const uint8_t* p = info_.imageBits + static_cast<ptrdiff_t>(y) * info_.effWidth + 3 * x;
        c.rgbBlue = p[0];
        c.rgbGreen = p[1];
        c.rgbRed = p[2];
    }
    // There is no alpha channel; only a palette entry's reserved byte can be
    // handed out as such.
    if (!getAlpha) {
        c.rgbReserved = 0;
    }
    return c;
}

void DibImage::BlindSetPixelColor(long x, long y, RGBQUAD colour, bool /*setAlpha*/)
{
    if (head_.biClrUsed) {
        BlindSetPixelIndex(x, y, GetNearestIndex(colour));
        return;
    }
    uint8_t* p = info_.imageBits + static_cast<ptrdiff_t>(y) * info_.effWidth + 3 * x;
    p[0] = colour.rgbBlue;
    p[1] = colour.rgbGreen;
    p[2] = colour.rgbRed;
}
