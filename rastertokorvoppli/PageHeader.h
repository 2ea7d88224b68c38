// SPDX-License-Identifier: Apache-2.0
// Checks a raster page header before its page is read.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <string>

// The page's size in bytes: bytes per line times lines.
uint64_t pageBytes(const cups_page_header2_t& header);

// Why the page cannot be held safely (its size does not fit in 32 bits, or
// its lines are shorter than its width), or an empty text when it can.
std::string pageHeaderProblem(const cups_page_header2_t& header);
