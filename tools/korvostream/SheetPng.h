// SPDX-License-Identifier: Apache-2.0
// A picture of a laid-out page as a PNG file, one pixel per dot: printed
// dots black on white paper, feeds drawn not to scale light gray, a cut as
// a dashed red line and a tear-off as a dashed blue line, each three pixels
// thick just above where the paper parts.
#pragma once

#include <cstdio>
#include <string>

#include "korvostream/Sheet.h"

namespace korvostream {

// The colours of the picture, as palette entries.
enum class Ink : unsigned char { Paper, Dot, FixedFeed, Cut, TearOff };

// The ink of one pixel; a sheet of no height is drawn one line high.
Ink inkAt(const Sheet& sheet, size_t x, size_t y);

// Writes the picture to an open file, or to a new file at the path; false
// when it cannot be written or is too large to draw.
bool writeSheetPng(const Sheet& sheet, FILE* file);
bool writeSheetPng(const Sheet& sheet, const std::string& path);

}  // namespace korvostream
