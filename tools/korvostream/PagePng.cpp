// SPDX-License-Identifier: Apache-2.0
#include "korvostream/PagePng.h"

#include <png.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace korvostream {

namespace {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

}  // namespace

bool writePagePng(const Page& page, const std::string& path)
{
    if (page.rowBytes == 0 || page.rows == 0) {
        return false;
    }
    std::unique_ptr<FILE, FileCloser> file(fopen(path.c_str(), "wb"));
    if (!file) {
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file.get());
    png_set_IHDR(png, info, static_cast<png_uint_32>(page.rowBytes * 8), static_cast<png_uint_32>(page.rows), 1,
                 PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    // A set bit is a printed (black) dot; in a gray PNG 0 is black.
    std::vector<png_byte> row(page.rowBytes);
    for (size_t y = 0; y < page.rows; ++y) {
        for (size_t i = 0; i < page.rowBytes; ++i) {
            row[i] = static_cast<png_byte>(~page.packed[y * page.rowBytes + i]);
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace korvostream
