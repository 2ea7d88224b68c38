// SPDX-License-Identifier: Apache-2.0
#include "common/KorvoLog.h"
#include "printer/KorvoPrinter.h"

int KorvoPrinter::GrayToMono(int bytesPerLine, int height, unsigned char* data)
{
    const unsigned long skip = getSkipRightPixels();
    const unsigned long rowLength = static_cast<unsigned long>(bytesPerLine);
    const long packedWidth = (skip != 0 && skip < rowLength) ? static_cast<long>(rowLength - skip) : bytesPerLine;
    korvoLogCommon(KORVO_LOG_DEBUG, "GrayToMono, bpl(%d), h(%d), skipPixels(%d), wb(%d)", bytesPerLine, height,
                   static_cast<int>(skip), static_cast<int>(packedWidth));

    // Packed output never overtakes the input being read: row y's packed
    // bytes end at or before row y's first input byte is consumed.
    unsigned char* out = data;
    for (long y = 0; y < height; ++y) {
        const unsigned char* row = data + y * static_cast<long>(bytesPerLine);
        long x = 0;
        for (; x + 8 <= packedWidth; x += 8) {
            unsigned char bits = 0;
            for (int bit = 0; bit < 8; ++bit) {
                bits = static_cast<unsigned char>(bits | ((row[x + bit] != 0) << (7 - bit)));
            }
            *out++ = bits;
        }
        if (x < packedWidth) {
            unsigned char bits = 0;
            for (int bit = 0; x + bit < packedWidth; ++bit) {
                bits = static_cast<unsigned char>(bits | ((row[x + bit] != 0) << (7 - bit)));
            }
            *out++ = bits;
        }
    }
    return static_cast<int>(out - data);
}
