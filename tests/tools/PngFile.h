// SPDX-License-Identifier: Apache-2.0
// A PNG file read back as 8-bit RGB, for checking pictures pixel by pixel.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace korvotest {

struct Rgb {
    uint8_t r, g, b;
    bool operator==(const Rgb&) const = default;
};

struct PngFile {
    unsigned width = 0;  // 0 when the file cannot be read
    unsigned height = 0;
    std::vector<uint8_t> rgb;

    Rgb at(unsigned x, unsigned y) const;
};

PngFile readPng(const std::string& path);

}  // namespace korvotest
