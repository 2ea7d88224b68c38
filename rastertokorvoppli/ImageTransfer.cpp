// SPDX-License-Identifier: Apache-2.0
#include "OndrelPrinter.h"
#include "common/KorvoCancel.h"
#include "common/KorvoLog.h"

namespace {
constexpr long kRowsPerPacket = 4;
constexpr long kMaxPayload = 0xFFFF;
constexpr long kPrintableDots = 2592;
constexpr long kPrintableDots203 = 1728;
}  // namespace

void OndrelPrinter::doPrintImage(const unsigned char* data, size_t bytesPerLine, size_t height, size_t width)
{
    korvoLogCommon(KORVO_LOG_DEBUG, "doPrintImage: Input image size - width: %zu, height: %zu", width, height);
    // The rows are packed in place: the caller hands over its own buffer.
    auto* rows = const_cast<unsigned char*>(data);
    const long monoBytes = GrayToMono(static_cast<int>(bytesPerLine), static_cast<int>(height), rows);
    korvoLogCommon(KORVO_LOG_DEBUG, "doPrintImage: Converted image size in bytes: %ld", monoBytes);
    if (tattooPrinter != 0) {
        // 120/254 inch in dot lines, computed wide: any 32-bit resolution can arrive.
        const int lines = static_cast<int>(uint64_t{resolution} * 120 / 254);
        FeedPaper(0, lines);
        korvoLogCommon(KORVO_LOG_DEBUG, "doPrintImage: Tatto printer detected. Fed %d lines before printing.", lines);
    }
    SendImage(monoBytes, _SIZEL{static_cast<int64_t>(width), static_cast<int64_t>(height)}, rows);
    korvoLogCommon(KORVO_LOG_DEBUG, "doPrintImage: Image sent to the printer.");
}

void OndrelPrinter::SendImage(long monoBytes, _SIZEL size, unsigned char* data)
{
    if (size.cy <= 0) {
        return;
    }
    const long rowBytes = monoBytes / size.cy;
    const long blocks = size.cy / kRowsPerPacket;
    const long rest = size.cy % kRowsPerPacket;
    if ((blocks > 0 ? kRowsPerPacket : rest) * rowBytes > kMaxPayload) {
        korvoLogCommon(KORVO_LOG_ERROR, "SendImage: rows of %ld bytes are too wide for the printer", rowBytes);
        return;
    }
    SetPrintArea(size, rowBytes);
    korvoLogCommon(KORVO_LOG_DEBUG, "SendImage sizel(%d, %d), wBytes(%d), blocks(%d)", static_cast<int>(size.cx),
                   static_cast<int>(size.cy), static_cast<int>(rowBytes), static_cast<int>(blocks));
    const unsigned char* rows = data;
    const long blockBytes = kRowsPerPacket * rowBytes;
    for (long block = 0; block < blocks; ++block, rows += blockBytes) {
        if (korvoJobCancelled()) {
            return;
        }
        sendPacket(kCmdImageRows, 0, rows, static_cast<uint16_t>(blockBytes));
    }
    if (rest != 0 && !korvoJobCancelled()) {
        sendPacket(kCmdImageRows, 0, rows, static_cast<uint16_t>(rest * rowBytes));
    }
}

void OndrelPrinter::SetPrintArea(_SIZEL size, long rowBytes)
{
    const long printable = resolution == 203 ? kPrintableDots203 : kPrintableDots;
    long offset = 0;
    long areaWidth = printable;
    if (size.cx < printable) {
        // Centre the image on a byte boundary.
        offset = (printable - size.cx) / 2 / 8 * 8;
        areaWidth = rowBytes * 8;
    }
    const uint8_t payload[4] = {static_cast<uint8_t>(offset & 0xFF), static_cast<uint8_t>(offset >> 8),
                                static_cast<uint8_t>(areaWidth & 0xFF), static_cast<uint8_t>((areaWidth >> 8) & 0xFF)};
    sendPacket(kCmdPrintArea, 0, payload, sizeof(payload));
}
