// SPDX-License-Identifier: Apache-2.0
#include "korvostream/KorvoStream.h"

#include <cstdio>

namespace korvostream {

namespace {

constexpr uint8_t kHead = 0x64;
constexpr uint8_t kTail = 0x9B;
constexpr size_t kFraming = 10;
constexpr int kRowsPerPacket = 4;

uint16_t le16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t le32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
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
    Stream stream;
    size_t pos = 0;
    while (pos < size) {
        if (data[pos] == 0) {
            Item run;
            run.offset = pos;
            run.isNulRun = true;
            while (pos < size && data[pos] == 0) {
                ++pos;
                ++run.nulCount;
            }
            stream.items.push_back(run);
            continue;
        }
        if (data[pos] != kHead) {
            stream.errors.push_back({pos, format("bad head byte 0x%02X", data[pos])});
            return stream;
        }
        if (size - pos < 5) {
            stream.errors.push_back({pos, "packet header past the end of the stream"});
            return stream;
        }
        const size_t length = le16(data + pos + 3);
        if (size - pos < kFraming + length) {
            stream.errors.push_back(
                {pos, format("payload length %u past the end of the stream", static_cast<unsigned>(length))});
            return stream;
        }
        Item packet;
        packet.offset = pos;
        packet.command = data[pos + 1];
        packet.subCommand = data[pos + 2];
        packet.payload.assign(data + pos + 5, data + pos + 5 + length);
        packet.reserved = le32(data + pos + 5 + length);
        const uint8_t tail = data[pos + 9 + length];
        if (packet.reserved != 0) {
            stream.errors.push_back({pos + 5 + length, format("non-zero reserved word 0x%08X", packet.reserved)});
            return stream;
        }
        if (tail != kTail) {
            stream.errors.push_back({pos + 9 + length, format("bad tail byte 0x%02X", tail)});
            return stream;
        }
        stream.items.push_back(std::move(packet));
        pos += kFraming + length;
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

std::vector<Page> collectPages(const Stream& stream)
{
    std::vector<Page> pages;
    const std::vector<Item>& items = stream.items;
    for (size_t i = 0; i < items.size(); ++i) {
        if (!items[i].is(Command::PrintArea) || items[i].payload.size() != 4) {
            continue;
        }
        Page page;
        page.offset = items[i].offset;
        page.areaOffset = le16(items[i].payload.data());
        page.areaWidth = le16(items[i].payload.data() + 2);
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
