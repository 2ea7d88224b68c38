// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "common/KorvoCancel.h"
#include "common/KorvoLog.h"
#include "halv/halvDither.h"
#include "printer/KorvoPrinter.h"

namespace {

bool isTattooType(DitherType type)
{
    return type == DITHER_TATTOO || type == DITHER_TATTOO_Q6;
}

}  // namespace

int KorvoPrinter::PageProcess(DitherType type, const unsigned char* rows, int32_t stride, int32_t width, int32_t height,
                              unsigned char* out, size_t outCapacity)
{
    // The printer's own halftone type decides the path, not the argument.
    const bool useTattoo = isTattooType(getHalftoneType());
    setUseHalvDithering(useTattoo);
    korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: HALV dithering is %s", useTattoo ? "enabled" : "disabled");

    if (!loadPage(rows, stride, width, height)) {
        korvoLogCommon(KORVO_LOG_CRIT, "dibimage.CreateFromArray with grey failed!");
        // The image pimage pointed at may already hold an earlier page's
        // packed rows: never print it again.
        pimage = nullptr;
        return 0;
    }
    korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Successfully created DibImage from array with stride %d", stride);

    if (getBrightness() != 0 || getContrast() != 0) {
        const int brightness = getBrightness() * 5;
        const int contrast = getContrast() * 2;
        pageImage_.Light(brightness, contrast);
        korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Adjusted brightness to %d and contrast to %d", brightness,
                       contrast);
    }
    if (isRotate180Print()) {
        pageImage_.Rotate180(nullptr);
        korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Rotated the image 180 degrees");
    }
    if (isMirrorPrint()) {
        pageImage_.Mirror();
        korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Mirrored the image");
    }

    if (useTattoo) {
        if (!halftoneWithTattooToolkit(getHalftoneType(), stride, width, height, out)) {
            return 0;
        }
    } else {
        // The type's number is the dither method, as the halftone choices
        // have always printed.
        pageImage_.Dither(static_cast<long>(type));
        pageImage_.IncreaseBpp(8);
        pimage = &pageImage_;
        korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Applied default dithering and increased bit depth");
    }
    if (korvoJobCancelled()) {
        return 0;  // the halftoning stopped part way: nothing more to make of the page
    }

    korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: negativePrint_ %d", isNegativePrint() ? 1 : 0);
    if (isNegativePrint()) {
        korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Inverting the image for negative print");
        pimage->Negative();
    }
    if (getAntiWrinkle() != 0) {
        EnableAntiWrink(*pimage);
    }

    const int32_t finalStride = static_cast<int32_t>(pimage->GetEffWidth());
    copyProcessedPixels(pimage, out, static_cast<int32_t>(pimage->GetWidth()),
                        static_cast<int32_t>(pimage->GetHeight()), finalStride, outCapacity);
    const int32_t length = static_cast<int32_t>(static_cast<uint32_t>(height) * static_cast<uint32_t>(finalStride));
    korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Filled the output buffer with processed pixels, length: %d", length);
    return length;
}

// The page image: the rows' own block when they are laid out as the image
// keeps them, otherwise a copy, the rows handed back as they are copied so
// that the page and its copy are never both whole in memory.
bool KorvoPrinter::loadPage(const unsigned char* rows, int32_t stride, int32_t width, int32_t height)
{
    const auto w = static_cast<uint32_t>(width);
    const auto h = static_cast<uint32_t>(height);
    const auto bytesPerLine = static_cast<uint32_t>(stride);
    if (pageRows_ == nullptr) {
        return pageImage_.CreateFromArray(rows, w, h, 8, bytesPerLine, false);
    }
    if (DibImage::CanAdoptGrayRows(w, h, bytesPerLine)) {
        if (void* block = pageRows_->handOverBlock()) {
            pageImage_.AdoptGrayRows(block, w, h);
            return true;
        }
    }
    return pageImage_.CreateFromArray(rows, w, h, 8, bytesPerLine, false, [this, bytesPerLine](uint32_t copied) {
        pageRows_->copiedUpTo(size_t{copied} * bytesPerLine);
    });
}

// Halftones the page image with the tattoo toolkit into the halftone image.
bool KorvoPrinter::halftoneWithTattooToolkit(DitherType type, int32_t stride, int32_t width, int32_t height,
                                             unsigned char* out)
{
    copyPixels(pageImage_, out, width, height, stride);
    korvoLogCommon(KORVO_LOG_DEBUG,
                   "PageProcess: Copied pixels to the output buffer for HALV dithering, with stride %d, EffWidth %d",
                   stride, static_cast<int32_t>(pageImage_.GetEffWidth()));
    // The copy is all the toolkit reads: the page image's memory can go.
    pageImage_.Destroy();
    // The toolkit reads width x height bytes, rows width bytes apart, and
    // writes straight into the halftone image's rows.
    const bool created =
        halftoneImage_.Create(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 8, 0) != nullptr;
    if (created) {
        halftoneImage_.SetGrayPalette();
        halvTattooInto(out, width, height, type == DITHER_TATTOO_Q6, halftoneImage_.GetBits(0),
                       halftoneImage_.GetEffWidth());
    }
    const int32_t resultStride = (width + 3) / 4 * 4;
    korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Applied HALV dithering with stride %d, width %d", resultStride,
                   width);
    if (!created) {
        korvoLogCommon(KORVO_LOG_ERROR, "PageProcess: Failed to create a new DibImage from HALV dithered data");
        return false;
    }
    korvoLogCommon(KORVO_LOG_DEBUG, "PageProcess: Successfully created a new DibImage from HALV dithered data");
    pimage = &halftoneImage_;
    return true;
}

// out[y * stride + x] = the image's index at (x, y): for the 8-bit page
// image, its rows as they are.
void KorvoPrinter::copyPixels(DibImage& image, unsigned char* out, int32_t width, int32_t height, int32_t stride)
{
    for (int32_t y = 0; y < height; ++y) {
        unsigned char* line = out + static_cast<size_t>(y) * static_cast<size_t>(stride);
        if (image.GetBpp() == 8) {
            memcpy(line, image.GetBits(0) + static_cast<size_t>(y) * image.GetEffWidth(), static_cast<size_t>(width));
            continue;
        }
        for (int32_t x = 0; x < width; ++x) {
            line[x] = image.GetPixelIndex(x, y);
        }
    }
}

// The printer's byte convention for the output buffer: index 1 becomes 255,
// then a negative page is complemented once more.
void KorvoPrinter::copyProcessedPixels(DibImage* image, unsigned char* out, int32_t width, int32_t height,
                                       int32_t stride, size_t outCapacity)
{
    // Complementing is an exclusive or with all ones; kept branch-free so
    // that the rows are converted many bytes at a time.
    const unsigned char flip = isNegativePrint() ? 0xFF : 0x00;
    const auto convert = [flip](unsigned char v) { return static_cast<unsigned char>((v == 1 ? 0xFF : v) ^ flip); };
    for (int32_t y = 0; y < height; ++y) {
        const size_t lineStart = static_cast<size_t>(y) * static_cast<size_t>(stride);
        if (lineStart + static_cast<size_t>(width) > outCapacity) {
            return;
        }
        unsigned char* line = out + lineStart;
        if (image->GetBpp() == 8) {
            const unsigned char* source = image->GetBits(0) + static_cast<size_t>(y) * image->GetEffWidth();
            std::transform(source, source + width, line, convert);
            continue;
        }
        for (int32_t x = 0; x < width; ++x) {
            line[x] = convert(image->GetPixelIndex(x, y));
        }
    }
}
