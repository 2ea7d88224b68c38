// SPDX-License-Identifier: Apache-2.0
#include "korvostream/JobSummary.h"

#include <cstdio>
#include <map>
#include <set>

#include "korvostream/PageSplitter.h"

namespace korvostream {

namespace {

std::string imageSize(const Page& image, const Resolution& resolution)
{
    const size_t width = image.rowBytes * 8;
    char text[128];
    snprintf(text, sizeof(text), "%zu x %zu dots, %.1f x %.1f mm", width, image.rows, millimetres(width, resolution),
             millimetres(image.rows, resolution));
    return text;
}

std::string pageLine(size_t number, const PageItems& items, const Resolution& resolution)
{
    std::string images;
    for (const Page& image : collectPages(items)) {
        images += (images.empty() ? "" : "; ") + imageSize(image, resolution);
    }
    return "page " + std::to_string(number) + ": " + (images.empty() ? "no image" : images);
}

struct FeedTotal {
    size_t count = 0;
    size_t lines = 0;
};

std::string feedLine(const std::vector<Item>& items)
{
    std::map<unsigned, FeedTotal> byMode;
    size_t count = 0;
    for (const Item& item : items) {
        if (const std::optional<Feed> feed = feedOf(item)) {
            ++count;
            ++byMode[feed->mode].count;
            byMode[feed->mode].lines += feed->lines;
        }
    }
    std::string modes;
    for (const auto& [mode, total] : byMode) {
        modes += std::string(modes.empty() ? "" : "; ") + "mode " + std::to_string(mode) + ": " +
                 std::to_string(total.count) + " x, " + std::to_string(total.lines) + " lines";
    }
    return "feeds: " + std::to_string(count) + (modes.empty() ? "" : " (" + modes + ")");
}

std::string densityLine(const std::vector<Item>& items)
{
    std::set<unsigned> densities;
    for (const Item& item : items) {
        if (item.is(Command::PrintSetting) && item.payload.size() == 1) {
            densities.insert(item.payload[0]);
        }
    }
    std::string values;
    for (const unsigned density : densities) {
        values += (values.empty() ? "" : ", ") + std::to_string(density);
    }
    return "density: " + (values.empty() ? "not set" : values);
}

size_t countOf(const std::vector<Item>& items, Command command)
{
    size_t count = 0;
    for (const Item& item : items) {
        count += item.is(command) ? 1 : 0;
    }
    return count;
}

}  // namespace

std::vector<std::string> summaryLines(const Stream& stream, const Resolution& resolution)
{
    const std::vector<PageItems> pages = splitPages(stream.items);
    std::vector<std::string> lines = {"resolution: " + std::to_string(resolution.dpi) + " dpi, printable width " +
                                          std::to_string(resolution.printableWidth) + " dots: " + resolution.reason,
                                      "pages: " + std::to_string(pages.size())};
    for (size_t i = 0; i < pages.size(); ++i) {
        lines.push_back(pageLine(i + 1, pages[i], resolution));
    }
    lines.push_back(feedLine(stream.items));
    lines.push_back("cuts: " + std::to_string(countOf(stream.items, Command::PaperCut)));
    lines.push_back(densityLine(stream.items));
    lines.push_back("status queries: " + std::to_string(countOf(stream.items, Command::StatusQuery)));
    return lines;
}

}  // namespace korvostream
