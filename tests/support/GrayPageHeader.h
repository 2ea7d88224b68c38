// SPDX-License-Identifier: Apache-2.0
// The page header of the raster the filter takes: 8 bits per pixel in
// colour space K (0 = blank paper), one byte per pixel.
#pragma once

#include <cups/raster.h>

#include <string>

cups_page_header2_t grayPageHeader(unsigned width, unsigned height, unsigned dpi, const std::string& pageSizeName);
