// SPDX-License-Identifier: Apache-2.0
// Blank-line measurement of a page of 8-bit rows (0 = blank paper). Used
// for the pipeline's log only.
#pragma once

#include <cstddef>

extern "C" {

// Tests lines 1 .. height (the advance comes before each test) and gives
// the pass at which the first line with ink was found, or height. A line at
// or beyond height counts as blank: nothing past the page is read.
size_t korvoImageCountBlankLinesFromFront(const unsigned char* rows, size_t bytesPerLine, size_t height,
                                          size_t skipRight, size_t lineAdvance);

// Height minus the blank lines at the bottom: the number of lines down to
// and including the last line with ink; 0 when every line is blank.
size_t korvoImageCountBlankLinesFromBack(const unsigned char* rows, size_t bytesPerLine, size_t height,
                                         size_t skipRight, size_t lineAdvance);
}
