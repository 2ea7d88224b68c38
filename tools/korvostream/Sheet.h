// SPDX-License-Identifier: Apache-2.0
// A printed page as the paper comes out of the printer, one dot per unit:
// a strip the printable width wide, the image at its print-area offset
// below the blank lines fed before it, and where the paper is cut or torn
// off.
//
// Feeds in mode 0 (and any mode not named below) advance by their line
// count. A feed in mode 3 (to the cutter or tear bar) or 5 (to the tear-off
// edge of marked labels) goes as far as the printer's mechanics take it,
// whatever its count: it is drawn as a band of fixedFeedLines() and flagged
// as not to scale. A go-back feed (mode 4) pulls the paper back before the
// page and adds nothing. A cut is marked where it falls; a mode 3 feed that
// no cut follows is a tear-off, as is every mode 5 feed.
#pragma once

#include <cstddef>
#include <vector>

#include "korvostream/KorvoStream.h"
#include "korvostream/PageSplitter.h"
#include "korvostream/Resolution.h"

namespace korvostream {

enum class Separation { Cut, TearOff };

struct SheetImage {
    size_t top = 0;
    Page page;
};

struct SheetMark {
    size_t y = 0;  // the paper parts between lines y - 1 and y
    Separation kind = Separation::Cut;
};

struct SheetBand {
    size_t top = 0;
    size_t height = 0;
};

struct Sheet {
    size_t width = 0;
    size_t height = 0;
    std::vector<SheetImage> images;
    std::vector<SheetBand> fixedFeeds;
    std::vector<SheetMark> marks;
};

// 1 mm of paper: how long a feed to the cutter or tear bar is drawn.
size_t fixedFeedLines(const Resolution& resolution);

Sheet layOutSheet(const PageItems& items, const Resolution& resolution);

// A stream can describe pages far larger than paper: feeds of millions of
// lines, print areas at 16-bit offsets, many images on one page. Drawing
// looks every dot up in the sheet's images, bands and marks, so a sheet is
// drawn only while dots x (1 + images + bands + marks) stays within
// kMaxDrawWork: 128 Mi, where an A4 page at 300 dpi with its image, a feed
// and a cut takes 35 Mi and two metres of receipt at 203 dpi 83 Mi.
constexpr size_t kMaxDrawWork = size_t(128) << 20;
bool tooLargeToDraw(const Sheet& sheet);

}  // namespace korvostream
