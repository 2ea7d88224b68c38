// SPDX-License-Identifier: Apache-2.0
#include "korvostream/Resolution.h"

namespace korvostream {

namespace {

constexpr unsigned kDpis[] = {300, 203};

unsigned printableWidthAt(unsigned dpi)
{
    return dpi == 300 ? 2592 : 1728;
}

unsigned stencilPreFeedAt(unsigned dpi)
{
    return dpi == 300 ? 141 : 95;
}

// The filter centres an image narrower than the printable width on a byte
// boundary.
bool fitsPrintableWidth(const Area& area, unsigned printableWidth)
{
    return area.width <= printableWidth && area.offset == (printableWidth - area.width) / 2 / 8 * 8;
}

}  // namespace

std::optional<Resolution> resolutionForDpi(unsigned dpi, const std::string& reason)
{
    if (dpi != 300 && dpi != 203) {
        return std::nullopt;
    }
    return Resolution{dpi, printableWidthAt(dpi), reason};
}

double millimetres(size_t dots, const Resolution& resolution)
{
    return static_cast<double>(dots) * 25.4 / resolution.dpi;
}

void ResolutionGuess::see(const Item& item)
{
    const std::optional<Area> area = areaOf(item);
    const std::optional<Feed> feed = feedOf(item);
    for (const unsigned dpi : kDpis) {
        if (!fromArea_ && area && fitsPrintableWidth(*area, printableWidthAt(dpi))) {
            fromArea_ =
                resolutionForDpi(dpi, "the print area at byte " + std::to_string(item.offset) + " (offset " +
                                          std::to_string(area->offset) + ", width " + std::to_string(area->width) +
                                          ") is centred on " + std::to_string(printableWidthAt(dpi)) + " dots");
        }
        if (!fromPreFeed_ && feed && feed->mode == 0 && feed->lines == stencilPreFeedAt(dpi)) {
            fromPreFeed_ =
                resolutionForDpi(dpi, "the stencil pre-feed at byte " + std::to_string(item.offset) + " has the " +
                                          std::to_string(feed->lines) + " lines of " + std::to_string(dpi) + " dpi");
        }
    }
}

Resolution ResolutionGuess::resolution() const
{
    if (fromArea_) {
        return *fromArea_;
    }
    if (fromPreFeed_) {
        return *fromPreFeed_;
    }
    return *resolutionForDpi(300, "nothing in the stream tells, so 300 dpi is assumed");
}

}  // namespace korvostream
