// SPDX-License-Identifier: Apache-2.0
// The resolution a stream was made for. The stream has no field for it,
// but the printer's two printable widths (2592 dots at 300 dpi, 1728 at
// 203 dpi) show in where the filter puts the print area, and a stencil
// model feeds 141 lines (300 dpi) or 95 lines (203 dpi) before the image.
#pragma once

#include <optional>
#include <string>

#include "korvostream/KorvoStream.h"

namespace korvostream {

struct Resolution {
    unsigned dpi = 300;
    unsigned printableWidth = 2592;
    std::string reason;  // how it was determined, for the reader
};

// The resolution of the given dots per inch; only 203 and 300 exist.
std::optional<Resolution> resolutionForDpi(unsigned dpi, const std::string& reason);

// Dots at the resolution in millimetres.
double millimetres(size_t dots, const Resolution& resolution);

// Collects the evidence item by item; the first print area that fits one
// printable width decides, else the first stencil pre-feed, else 300 dpi is
// assumed.
class ResolutionGuess {
public:
    void see(const Item& item);
    Resolution resolution() const;

private:
    std::optional<Resolution> fromArea_;
    std::optional<Resolution> fromPreFeed_;
};

}  // namespace korvostream
