// SPDX-License-Identifier: Apache-2.0
// The one property fuzz_filter checks beyond the sanitizers: a page capture
// (a BMP file) is never more than kMaxCaptureSide pixels wide or high. Pages
// are at most 1024 x 1024 pixels there (RasterLimits.h) and the largest
// anti-wrinkle canvas at 300 dpi is 2598 x 3272 dots (Letter width, A4
// height, 5 mm side lines), so a larger capture is an image the filter made
// far larger than the page and its frame. Aborts, naming the file, if so;
// other files pass.
#pragma once

#include <cstdint>
#include <string>

constexpr uint32_t kMaxCaptureSide = 4096;

void checkCapture(const std::string& file);
