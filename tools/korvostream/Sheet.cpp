// SPDX-License-Identifier: Apache-2.0
#include "korvostream/Sheet.h"

#include <algorithm>
#include <cmath>

namespace korvostream {

namespace {

constexpr unsigned kFeedBeforeSeparation = 3;
constexpr unsigned kGoBackFeed = 4;
constexpr unsigned kTearOffFeed = 5;

// Walks a page's items and moves down the paper.
class SheetLayout {
public:
    SheetLayout(const PageItems& items, const Resolution& resolution)
        : pages_(collectPages(items)), fixedFeedLines_(fixedFeedLines(resolution))
    {
        sheet_.width = resolution.printableWidth;
    }

    void take(const Item& item)
    {
        if (const std::optional<Feed> feed = feedOf(item)) {
            feedPaper(*feed);
        } else if (item.is(Command::PaperCut)) {
            tearOffPending_ = false;
            sheet_.marks.push_back({y_, Separation::Cut});
        } else if (areaOf(item) && nextPage_ < pages_.size()) {
            placeImage(pages_[nextPage_++]);
        }
    }

    Sheet finish()
    {
        settleTearOff();
        sheet_.height = y_;
        return std::move(sheet_);
    }

private:
    void feedPaper(const Feed& feed)
    {
        settleTearOff();
        if (feed.mode == kGoBackFeed) {
            return;
        }
        if (feed.mode != kFeedBeforeSeparation && feed.mode != kTearOffFeed) {
            y_ += feed.lines;
            return;
        }
        sheet_.fixedFeeds.push_back({y_, fixedFeedLines_});
        y_ += fixedFeedLines_;
        if (feed.mode == kTearOffFeed) {
            sheet_.marks.push_back({y_, Separation::TearOff});
        } else {
            tearOffPending_ = true;
        }
    }

    void placeImage(Page page)
    {
        settleTearOff();
        sheet_.width = std::max<size_t>(sheet_.width, page.areaOffset + page.rowBytes * 8);
        const size_t rows = page.rows;
        sheet_.images.push_back({y_, std::move(page)});
        y_ += rows;
    }

    // A feed to the cutter that no cut followed was for tearing off.
    void settleTearOff()
    {
        if (tearOffPending_) {
            sheet_.marks.push_back({y_, Separation::TearOff});
            tearOffPending_ = false;
        }
    }

    std::vector<Page> pages_;
    size_t nextPage_ = 0;
    size_t fixedFeedLines_;
    Sheet sheet_;
    size_t y_ = 0;
    bool tearOffPending_ = false;
};

}  // namespace

size_t fixedFeedLines(const Resolution& resolution)
{
    return static_cast<size_t>(std::lround(resolution.dpi / 25.4));
}

bool tooLargeToDraw(const Sheet& sheet)
{
    const size_t lookups = 1 + sheet.images.size() + sheet.fixedFeeds.size() + sheet.marks.size();
    const size_t height = std::max<size_t>(sheet.height, 1);
    return sheet.width > kMaxDrawWork / height / lookups;
}

Sheet layOutSheet(const PageItems& items, const Resolution& resolution)
{
    SheetLayout layout(items, resolution);
    for (const Item& item : items) {
        layout.take(item);
    }
    return layout.finish();
}

}  // namespace korvostream
