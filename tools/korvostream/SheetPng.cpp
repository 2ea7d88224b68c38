// SPDX-License-Identifier: Apache-2.0
#include "korvostream/SheetPng.h"

#include <png.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace korvostream {

namespace {

constexpr size_t kMarkThickness = 3;
constexpr size_t kDashLength = 24;
constexpr size_t kGapLength = 12;

const png_color kPalette[] = {
    {0xFF, 0xFF, 0xFF},  // paper
    {0x00, 0x00, 0x00},  // printed dot
    {0xD8, 0xD8, 0xD8},  // feed not to scale
    {0xE0, 0x00, 0x00},  // cut
    {0x00, 0x50, 0xE0},  // tear-off
};

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

// The rows a mark covers: the three above the parting, or the first three
// when it is at the top.
bool onMark(const SheetMark& mark, size_t x, size_t y)
{
    const size_t top = mark.y >= kMarkThickness ? mark.y - kMarkThickness : 0;
    return y >= top && y < std::max(mark.y, kMarkThickness) && x % (kDashLength + kGapLength) < kDashLength;
}

size_t pictureHeight(const Sheet& sheet)
{
    return std::max<size_t>(sheet.height, sheet.marks.empty() ? 1 : kMarkThickness);
}

// Writes every row with libpng; false on any libpng error. Everything with
// a destructor exists before the error jump target.
bool writeRows(png_structp png, png_infop info, const Sheet& sheet, FILE* file)
{
    const size_t height = pictureHeight(sheet);
    std::vector<png_byte> row(sheet.width);
    if (setjmp(png_jmpbuf(png))) {
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(sheet.width), static_cast<png_uint_32>(height), 4,
                 PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_PLTE(png, info, kPalette, static_cast<int>(std::size(kPalette)));
    // The fastest compression: a halftoned page compresses little anyway,
    // and the virtual printer draws pages between the filter's requests.
    png_set_compression_level(png, 1);
    png_write_info(png, info);
    png_set_packing(png);
    for (size_t y = 0; y < height; ++y) {
        for (size_t x = 0; x < sheet.width; ++x) {
            row[x] = static_cast<png_byte>(inkAt(sheet, x, y));
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    return true;
}

}  // namespace

Ink inkAt(const Sheet& sheet, size_t x, size_t y)
{
    for (const SheetMark& mark : sheet.marks) {
        if (onMark(mark, x, y)) {
            return mark.kind == Separation::Cut ? Ink::Cut : Ink::TearOff;
        }
    }
    for (const SheetImage& image : sheet.images) {
        const Page& page = image.page;
        if (y >= image.top && y < image.top + page.rows && x >= page.areaOffset &&
            x < page.areaOffset + page.rowBytes * 8) {
            return page.dot(x - page.areaOffset, y - image.top) ? Ink::Dot : Ink::Paper;
        }
    }
    for (const SheetBand& band : sheet.fixedFeeds) {
        if (y >= band.top && y < band.top + band.height) {
            return Ink::FixedFeed;
        }
    }
    return Ink::Paper;
}

bool writeSheetPng(const Sheet& sheet, FILE* file)
{
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const bool written =
        info != nullptr && sheet.width != 0 && !tooLargeToDraw(sheet) && writeRows(png, info, sheet, file);
    png_destroy_write_struct(&png, &info);
    return written && fflush(file) == 0 && ferror(file) == 0;
}

bool writeSheetPng(const Sheet& sheet, const std::string& path)
{
    std::unique_ptr<FILE, FileCloser> file(fopen(path.c_str(), "wb"));
    return file && writeSheetPng(sheet, file.get()) && fclose(file.release()) == 0;
}

}  // namespace korvostream
