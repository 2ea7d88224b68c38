// SPDX-License-Identifier: Apache-2.0
// HalvImage: the tattoo halftoning toolkit's own image value type.
//
// The image always owns its pixel buffer: width * height * channels bytes,
// rows packed with no padding. Copies are deep; images are returned by value.
#pragma once

#include <cstdint>

enum HALV_IMG_COLOR : int32_t {
    HALV_IMG_GRAY = 0,  // 1 byte per pixel
    HALV_IMG_BGR = 1,   // blue, green, red
    HALV_IMG_RGB = 2,   // red, green, blue
    HALV_IMG_BGRA = 3,  // blue, green, red, alpha
    HALV_IMG_RGBA = 4,  // red, green, blue, alpha
};

// Bytes per pixel of a colour format: 1 for gray, 3 for BGR and RGB, and 4 for
// every other value (including values outside the enumeration).
int halvChannelsOf(HALV_IMG_COLOR color);

class HalvImage {
public:
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 4;
    HALV_IMG_COLOR color = HALV_IMG_BGR;
    unsigned char* data = nullptr;

    // Allocates width * height * channels bytes and copies as many from
    // `pixels`, which stays the caller's.
    HalvImage(int width, int height, HALV_IMG_COLOR color, unsigned char* pixels);
    // Allocates the buffer without initialising it.
    HalvImage(int width, int height, HALV_IMG_COLOR color);
    // Copies the four fields as they stand and the pixels.
    HalvImage(const HalvImage& other);
    // Takes over the buffer; `other` is left as a destroyed image would be.
    HalvImage(HalvImage&& other) noexcept;
    HalvImage& operator=(const HalvImage& other);
    // Zeroes width, height and channels (color stays) and frees the buffer.
    ~HalvImage();
};
