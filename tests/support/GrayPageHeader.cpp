// SPDX-License-Identifier: Apache-2.0
#include "GrayPageHeader.h"

#include <cstring>

#include "common/KorvoString.h"

cups_page_header2_t grayPageHeader(unsigned width, unsigned height, unsigned dpi, const std::string& pageSizeName)
{
    cups_page_header2_t header;
    memset(&header, 0, sizeof(header));
    header.HWResolution[0] = dpi;
    header.HWResolution[1] = dpi;
    header.PageSize[0] = width * 72 / dpi;
    header.PageSize[1] = height * 72 / dpi;
    header.NumCopies = 1;
    header.cupsWidth = width;
    header.cupsHeight = height;
    header.cupsBitsPerColor = 8;
    header.cupsBitsPerPixel = 8;
    header.cupsBytesPerLine = width;
    header.cupsColorOrder = CUPS_ORDER_CHUNKED;
    header.cupsColorSpace = CUPS_CSPACE_K;
    header.cupsNumColors = 1;
    korvoStrCpy(header.cupsPageSizeName, pageSizeName.c_str(), sizeof(header.cupsPageSizeName));
    return header;
}
