// SPDX-License-Identifier: Apache-2.0
#include "PngFile.h"

#include <png.h>

namespace korvotest {

Rgb PngFile::at(unsigned x, unsigned y) const
{
    const size_t i = (static_cast<size_t>(y) * width + x) * 3;
    return {rgb[i], rgb[i + 1], rgb[i + 2]};
}

PngFile readPng(const std::string& path)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    PngFile png;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        return png;
    }
    image.format = PNG_FORMAT_RGB;
    png.rgb.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, png.rgb.data(), 0, nullptr)) {
        png.width = image.width;
        png.height = image.height;
    }
    return png;
}

}  // namespace korvotest
