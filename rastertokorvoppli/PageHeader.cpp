// SPDX-License-Identifier: Apache-2.0
#include "PageHeader.h"

#include <cstdio>

uint64_t pageBytes(const cups_page_header2_t& header)
{
    return static_cast<uint64_t>(header.cupsBytesPerLine) * header.cupsHeight;
}

std::string pageHeaderProblem(const cups_page_header2_t& header)
{
    char text[256];
    if (pageBytes(header) > UINT32_MAX) {
        snprintf(text, sizeof(text), "Page too large: %u bytes per line x %u lines exceeds 4 GiB",
                 header.cupsBytesPerLine, header.cupsHeight);
        return text;
    }
    if (header.cupsWidth > header.cupsBytesPerLine) {
        snprintf(text, sizeof(text), "Page width %u is larger than its %u bytes per line", header.cupsWidth,
                 header.cupsBytesPerLine);
        return text;
    }
    return std::string();
}
