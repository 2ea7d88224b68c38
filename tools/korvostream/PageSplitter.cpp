// SPDX-License-Identifier: Apache-2.0
#include "korvostream/PageSplitter.h"

#include <algorithm>

namespace korvostream {

namespace {

bool printsOrMovesPaper(const PageItems& items)
{
    return std::any_of(items.begin(), items.end(), [](const Item& item) {
        return item.is(Command::ImageRows) || item.is(Command::FeedPaper) || item.is(Command::PaperCut);
    });
}

}  // namespace

std::optional<PageItems> PageSplitter::add(Item item)
{
    std::optional<PageItems> finished;
    if (item.isNulRun) {
        finished = takeCurrent();
    }
    current_.push_back(std::move(item));
    return finished;
}

std::optional<PageItems> PageSplitter::finish()
{
    return takeCurrent();
}

std::optional<PageItems> PageSplitter::takeCurrent()
{
    PageItems page = std::move(current_);
    current_.clear();
    if (!printsOrMovesPaper(page)) {
        return std::nullopt;
    }
    return page;
}

std::vector<PageItems> splitPages(const std::vector<Item>& items)
{
    PageSplitter splitter;
    std::vector<PageItems> pages;
    for (const Item& item : items) {
        if (std::optional<PageItems> page = splitter.add(item)) {
            pages.push_back(std::move(*page));
        }
    }
    if (std::optional<PageItems> page = splitter.finish()) {
        pages.push_back(std::move(*page));
    }
    return pages;
}

}  // namespace korvostream
