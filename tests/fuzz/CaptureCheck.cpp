// SPDX-License-Identifier: Apache-2.0
#include "CaptureCheck.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kWidthOffset = 18;
constexpr size_t kHeaderBytes = 26;

bool isCapture(const std::string& file)
{
    const size_t slash = file.rfind('/');
    const std::string name = file.substr(slash == std::string::npos ? 0 : slash + 1);
    return name.rfind("origin_", 0) == 0 || name.rfind("dithered_", 0) == 0;
}

}  // namespace

void checkCapture(const std::string& file)
{
    if (!isCapture(file)) {
        return;
    }
    unsigned char header[kHeaderBytes] = {};
    if (FILE* bmp = fopen(file.c_str(), "rb")) {
        const size_t count = fread(header, 1, sizeof(header), bmp);
        fclose(bmp);
        if (count < sizeof(header)) {
            return;
        }
    }
    uint32_t width = 0;
    uint32_t height = 0;
    memcpy(&width, header + kWidthOffset, sizeof(width));
    memcpy(&height, header + kWidthOffset + 4, sizeof(height));
    if (width > kMaxCaptureSide || height > kMaxCaptureSide) {
        fprintf(stderr, "fuzz_filter: capture %s is %u x %u pixels, over %u on a side\n", file.c_str(), width, height,
                kMaxCaptureSide);
        abort();
    }
}
