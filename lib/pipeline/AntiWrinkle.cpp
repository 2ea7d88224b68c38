// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "common/KorvoLog.h"
#include "printer/KorvoPrinter.h"

namespace {

// The canvas the frame encloses, by page size name, in hundredths of a
// millimetre (the side lines are added to the width, the top and bottom
// lines to the height).
struct Canvas {
    const char* pageSizeName;
    uint32_t width;
    uint32_t height;
};

const Canvas kCanvases[] = {
    {"A4", 20000, 27500},
    {"Letter", 21000, 25700},
    {"Tattoo_A5", 20000, 11800},
    {"Tattoo_A6", 10000, 11800},
};

// Hundredths of a millimetre to dots, rounded, in unsigned 32-bit arithmetic.
uint32_t dots(uint32_t resolution, uint32_t hundredths)
{
    return ((resolution * hundredths) / 254 + 5) / 10;
}

const Canvas* findCanvas(const char* pageSizeName)
{
    for (const Canvas& canvas : kCanvases) {
        if (strcmp(canvas.pageSizeName, pageSizeName) == 0) {
            return &canvas;
        }
    }
    return nullptr;
}

// One filled rectangle, drawn row by row. The loop variables carry over from
// one rectangle to the next as the log lines report them: the column is the
// one after the last drawn column of the last drawn row.
struct FrameCursor {
    int32_t column = 0;
    int32_t row = 0;
};

void fillRectangle(DibImage& image, FrameCursor& cursor, int32_t left, int32_t top, int32_t width, int32_t height)
{
    // Pixels outside the image are ignored; only the part inside is visited.
    const int64_t imageWidth = image.GetWidth();
    const int64_t imageHeight = image.GetHeight();
    const int64_t fromRow = top < 0 ? 0 : top;
    const int64_t toRow = std::min<int64_t>(static_cast<int64_t>(top) + height, imageHeight);
    const int64_t fromColumn = left < 0 ? 0 : left;
    const int64_t toColumn = std::min<int64_t>(static_cast<int64_t>(left) + width, imageWidth);
    for (int64_t y = fromRow; y < toRow; ++y) {
        for (int64_t x = fromColumn; x < toColumn; ++x) {
            image.SetPixelIndex(static_cast<long>(x), static_cast<long>(y), 255);
        }
    }
    if (height > 0) {
        cursor.column = width > 0 ? left + width : left;
    }
    cursor.row = height > 0 ? top + height : top;
}

// The largest canvas of these printers is under 2600 x 3300 dots (300 dpi,
// level 5). A header's resolution can make a canvas millions of dots across
// (a label printer's level of -1 wraps the side lines round, and resolutions
// far beyond the printers' own scale every canvas up): an enlargement past
// this many dots a side is refused like one the memory cannot hold.
constexpr uint64_t kMaxFramedDots = 4096;

bool withinFramedSize(const DibImage& image, int32_t ex, int32_t ey)
{
    return uint64_t{image.GetWidth()} + 2 * uint64_t(ex) <= kMaxFramedDots &&
           uint64_t{image.GetHeight()} + 2 * uint64_t(ey) <= kMaxFramedDots;
}

}  // namespace

void KorvoPrinter::EnableAntiWrink(DibImage& image)
{
    if (!image.IsValid() || getPageHeader() == nullptr) {
        korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Image or pageHdr_ is not valid, returning.");
        return;
    }
    const uint32_t dpi = static_cast<uint32_t>(resolution);
    const uint32_t lineH = dots(dpi, 100);
    const uint32_t lineV = ((static_cast<uint32_t>(getAntiWrinkle()) * 100u * dpi) / 254 + 5) / 10;
    korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: AntiWrinkle level: %d, line_v: %d points, line_h: %d points.",
                   getAntiWrinkle(), static_cast<int32_t>(lineV), static_cast<int32_t>(lineH));

    int32_t canvasWidth = 0;
    int32_t canvasHeight = 0;
    if (const Canvas* canvas = findCanvas(getPageHeader()->cupsPageSizeName)) {
        canvasWidth = static_cast<int32_t>(dots(dpi, canvas->width) + 2 * lineV);
        canvasHeight = static_cast<int32_t>(dots(dpi, canvas->height) + 2 * lineH);
        korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Page size is %s, CanvasWidth: %d, CanvasHeight: %d",
                       canvas->pageSizeName, canvasWidth, canvasHeight);
    }

    int32_t ex = 0;
    int32_t ey = 0;
    if (static_cast<int32_t>(image.GetWidth()) < canvasWidth) {
        ex = (canvasWidth - static_cast<int32_t>(image.GetWidth())) / 2;
        korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Image width is less than canvas width, exPoints: %d", ex);
    }
    if (static_cast<int32_t>(image.GetHeight()) < canvasHeight) {
        ey = (canvasHeight - static_cast<int32_t>(image.GetHeight())) / 2;
        korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Image height is less than canvas height, eyPoints: %d", ey);
    }
    if (ex != 0 || ey != 0) {
        const RGBQUAD white = {255, 255, 255, 0};
        if (!withinFramedSize(image, ex, ey) || !image.Expand(ex, ey, ex, ey, white)) {
            korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Failed to expand image, returning.");
            return;
        }
        korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Image expanded successfully.");
    }

    int32_t offsetX = 0;
    int32_t offsetY = 0;
    if (static_cast<int32_t>(image.GetWidth()) > canvasWidth) {
        offsetX = (static_cast<int32_t>(image.GetWidth()) - canvasWidth) / 2;
        korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Image width is greater than canvas width, offset.x: %d",
                       offsetX);
    }
    if (static_cast<int32_t>(image.GetHeight()) > canvasHeight) {
        offsetY = (static_cast<int32_t>(image.GetHeight()) - canvasHeight) / 2;
        korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Image height is greater than canvas height, offset.y: %d",
                       offsetY);
    }

    const int32_t v = static_cast<int32_t>(lineV);
    const int32_t h = static_cast<int32_t>(lineH);
    FrameCursor cursor;
    fillRectangle(image, cursor, offsetX, offsetY, v, canvasHeight);
    korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Drawing left line. point(%d, %d, %d, %d)", offsetX, offsetY,
                   cursor.column, cursor.row);
    fillRectangle(image, cursor, offsetX, offsetY, canvasWidth, h);
    korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Drawing top line. point(%d, %d, %d, %d)", offsetX, offsetY,
                   cursor.column, cursor.row);
    const int32_t rightX = offsetX + canvasWidth - v;
    fillRectangle(image, cursor, rightX, offsetY, v, canvasHeight);
    korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Drawing right line. point(%d, %d, %d, %d)", rightX, offsetY,
                   cursor.column, cursor.row);
    const int32_t bottomY = offsetY + canvasHeight - h;
    fillRectangle(image, cursor, offsetX, bottomY, canvasWidth, h);
    korvoLogCommon(KORVO_LOG_DEBUG, "EnableAntiWrink: Drawing bottom line. point(%d, %d, %d, %d)", offsetX, bottomY,
                   cursor.column, cursor.row);
}
