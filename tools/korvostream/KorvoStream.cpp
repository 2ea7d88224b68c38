// SPDX-License-Identifier: Apache-2.0
#include "korvostream/KorvoStream.h"

#include <cstdio>

#include "korvostream/StreamParser.h"

namespace korvostream {

namespace {

constexpr int kRowsPerPacket = 4;

uint16_t le16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

std::string format(const char* fmt, unsigned a, unsigned b = 0)
{
    char text[96];
    snprintf(text, sizeof(text), fmt, a, b);
    return text;
}

// Guesses the packed row length of a page from its print area and the
// lengths of its row packets (a full packet holds four rows).
size_t pageRowBytes(const Page& page, const std::vector<size_t>& payloads)
{
    if (payloads.size() >= 2) {
        return payloads.front() / kRowsPerPacket;
    }
    const size_t fromArea = page.areaWidth / 8;
    if (payloads.empty()) {
        return fromArea;
    }
    if (fromArea != 0 && payloads.front() % fromArea == 0 && payloads.front() / fromArea <= kRowsPerPacket) {
        return fromArea;
    }
    return payloads.front();
}

}  // namespace

Stream parseStream(const uint8_t* data, size_t size)
{
    StreamParser parser;
    Stream stream;
    stream.items = parser.feed(data, size);
    for (Item& item : parser.finish()) {
        stream.items.push_back(std::move(item));
    }
    if (parser.error()) {
        stream.errors.push_back(*parser.error());
    }
    return stream;
}

Stream parseStream(const std::vector<uint8_t>& bytes)
{
    return parseStream(bytes.data(), bytes.size());
}

const char* commandName(uint8_t command)
{
    switch (static_cast<Command>(command)) {
    case Command::FeedPaper:
        return "FeedPaper";
    case Command::PaperCut:
        return "PaperCut";
    case Command::ImageRows:
        return "ImageRows";
    case Command::PrintControl:
        return "PrintControl";
    case Command::StatusQuery:
        return "StatusQuery";
    case Command::PrintSetting:
        return "PrintSetting";
    case Command::PrintArea:
        return "PrintArea";
    }
    return "Unknown";
}

std::string describePayload(const Item& item, size_t rowBytes)
{
    const std::vector<uint8_t>& p = item.payload;
    if (item.is(Command::PrintControl) && p.size() == 1) {
        return format("mode=%u", p[0]);
    }
    if (item.is(Command::PrintSetting) && p.size() == 1) {
        return format("density=%u", p[0]);
    }
    if (item.is(Command::FeedPaper) && p.size() == 3) {
        return format("mode=%u lines=%u", p[0], le16(p.data() + 1));
    }
    if (item.is(Command::PrintArea) && p.size() == 4) {
        return format("offset=%u width=%u", le16(p.data()), le16(p.data() + 2));
    }
    if (item.is(Command::ImageRows)) {
        const unsigned bytes = static_cast<unsigned>(p.size());
        return rowBytes != 0 ? format("bytes=%u rows=%u", bytes, static_cast<unsigned>(p.size() / rowBytes))
                             : format("bytes=%u", bytes);
    }
    std::string hex;
    for (uint8_t byte : p) {
        hex += format(hex.empty() ? "%02X" : " %02X", byte);
    }
    return hex.empty() ? std::string() : "payload=" + hex;
}

std::optional<Feed> feedOf(const Item& item)
{
    if (!item.is(Command::FeedPaper) || item.payload.size() != 3) {
        return std::nullopt;
    }
    return Feed{item.payload[0], le16(item.payload.data() + 1)};
}

std::optional<Area> areaOf(const Item& item)
{
    if (!item.is(Command::PrintArea) || item.payload.size() != 4) {
        return std::nullopt;
    }
    return Area{le16(item.payload.data()), le16(item.payload.data() + 2)};
}

std::vector<Page> collectPages(const Stream& stream)
{
    return collectPages(stream.items);
}

std::vector<Page> collectPages(const std::vector<Item>& items)
{
    std::vector<Page> pages;
    for (size_t i = 0; i < items.size(); ++i) {
        const std::optional<Area> area = areaOf(items[i]);
        if (!area) {
            continue;
        }
        Page page;
        page.offset = items[i].offset;
        page.areaOffset = area->offset;
        page.areaWidth = area->width;
        std::vector<size_t> payloads;
        size_t j = i + 1;
        for (; j < items.size() && items[j].is(Command::ImageRows); ++j) {
            payloads.push_back(items[j].payload.size());
            page.packed.insert(page.packed.end(), items[j].payload.begin(), items[j].payload.end());
        }
        page.rowBytes = pageRowBytes(page, payloads);
        page.rows = page.rowBytes != 0 ? page.packed.size() / page.rowBytes : 0;
        pages.push_back(std::move(page));
        i = j - 1;
    }
    return pages;
}

std::vector<std::string> summarise(const Stream& stream)
{
    std::vector<std::string> words;
    for (const Item& item : stream.items) {
        const std::vector<uint8_t>& p = item.payload;
        if (item.isNulRun) {
            words.push_back(format("NUL*%u", static_cast<unsigned>(item.nulCount)));
        } else if (item.is(Command::PrintControl) && p.size() == 1) {
            words.push_back(format("PC%u", p[0]));
        } else if (item.is(Command::PrintSetting) && p.size() == 1) {
            words.push_back(format("DENSITY%u", p[0]));
        } else if (item.is(Command::FeedPaper) && p.size() == 3) {
            words.push_back(format("FEED%u,%u", p[0], le16(p.data() + 1)));
        } else if (item.is(Command::PaperCut)) {
            words.push_back("CUT");
        } else if (item.is(Command::PrintArea)) {
            words.push_back("AREA");
        } else if (item.is(Command::ImageRows)) {
            words.push_back("ROWS");
        } else if (item.is(Command::StatusQuery)) {
            words.push_back("QUERY");
        } else {
            words.push_back(format("CMD%02X", item.command));
        }
    }
    return words;
}

}  // namespace korvostream
