// SPDX-License-Identifier: Apache-2.0
// What fuzz_filter keeps out of the filter (never the shipped program): the
// limits make every job run in well under a second and a few hundred MB,
// so that the fuzzer spends its time on variety rather than on size. The
// filter itself refuses only pages over 4 GiB.
//
// - At most 4 pages, each at most 1024 x 1024 pixels and 1024 bytes a line
//   (cupsWidth, cupsHeight, cupsBytesPerLine): the page buffer, the images of
//   the pipeline and the two captures grow with the page, the work with the
//   pages.
//
// Every page libcups reads from the stream counts, also those after a page
// the filter stops at: the limits do not depend on the filter's own checks.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr unsigned kMaxPages = 4;
constexpr unsigned kMaxPageSide = 1024;

// The page headers libcups reads from the stream, at most kMaxPages + 1;
// reading stops after a page over the size limits, whose pixels are not read.
std::vector<cups_page_header2_t> pageHeaders(const uint8_t* data, size_t size);

bool withinLimits(const std::vector<cups_page_header2_t>& headers);
