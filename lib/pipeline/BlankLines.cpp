// SPDX-License-Identifier: Apache-2.0
#include "pipeline/BlankLines.h"

#include <cstring>

namespace {

// A line is blank when its first bytesPerLine - skipRight bytes are all 0;
// a skip longer than the line is ignored.
bool isBlankLine(const unsigned char* line, size_t bytesPerLine, size_t skipRight)
{
    const size_t tested = skipRight > bytesPerLine ? bytesPerLine : bytesPerLine - skipRight;
    for (size_t i = 0; i < tested; ++i) {
        if (line[i] != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

size_t korvoImageCountBlankLinesFromFront(const unsigned char* rows, size_t bytesPerLine, size_t height,
                                          size_t skipRight, size_t lineAdvance)
{
    for (size_t pass = 0; pass < height; ++pass) {
        const size_t line = pass + 1;
        if (line < height && !isBlankLine(rows + line * lineAdvance, bytesPerLine, skipRight)) {
            return pass;
        }
    }
    return height;
}

size_t korvoImageCountBlankLinesFromBack(const unsigned char* rows, size_t bytesPerLine, size_t height,
                                         size_t skipRight, size_t lineAdvance)
{
    for (size_t end = height; end >= 1; --end) {
        if (!isBlankLine(rows + (end - 1) * lineAdvance, bytesPerLine, skipRight)) {
            return end;
        }
    }
    return 0;
}
