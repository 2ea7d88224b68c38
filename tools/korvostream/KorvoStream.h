// SPDX-License-Identifier: Apache-2.0
// Reader for the printer byte stream the filter writes: runs of NUL bytes
// and framed command packets (head 0x64, command, sub-command, 16-bit
// little-endian payload length, payload, 32-bit reserved word, tail 0x9B).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace korvostream {

enum class Command : uint8_t {
    FeedPaper = 0x00,
    PaperCut = 0x02,
    ImageRows = 0x03,
    PrintControl = 0x0E,
    StatusQuery = 0x10,
    PrintSetting = 0x41,
    PrintArea = 0x43,
};

// One item of the stream: a packet, or a run of NUL bytes between packets.
struct Item {
    size_t offset = 0;
    bool isNulRun = false;
    size_t nulCount = 0;  // for a NUL run
    uint8_t command = 0;
    uint8_t subCommand = 0;
    std::vector<uint8_t> payload;
    uint32_t reserved = 0;

    bool is(Command c) const { return !isNulRun && command == static_cast<uint8_t>(c); }
};

// A FeedPaper packet's mode and dot lines.
struct Feed {
    unsigned mode = 0;
    unsigned lines = 0;
};
std::optional<Feed> feedOf(const Item& item);

// A PrintArea packet's offset and width, in dots.
struct Area {
    unsigned offset = 0;
    unsigned width = 0;
};
std::optional<Area> areaOf(const Item& item);

struct FramingError {
    size_t offset = 0;
    std::string message;
};

struct Stream {
    std::vector<Item> items;
    std::vector<FramingError> errors;  // reading stops at the first one
};

Stream parseStream(const uint8_t* data, size_t size);
Stream parseStream(const std::vector<uint8_t>& bytes);

// The command's name ("PrintControl", "FeedPaper", ...) or "Unknown".
const char* commandName(uint8_t command);

// The payload in words: "mode=0", "density=8", "mode=3 lines=0",
// "offset=296 width=2000", "bytes=1296 rows=4".
// rowBytes is the row length of the current print area (0 if none).
std::string describePayload(const Item& item, size_t rowBytes);

// One printed page: the dots of the image-row packets that follow a
// print-area packet, one byte per dot (1 printed, 0 blank).
struct Page {
    size_t offset = 0;  // offset of the print-area packet
    unsigned areaOffset = 0;
    unsigned areaWidth = 0;
    size_t rowBytes = 0;
    size_t rows = 0;
    std::vector<uint8_t> packed;  // rows * rowBytes bytes, MSB first

    bool dot(size_t x, size_t y) const { return (packed[y * rowBytes + x / 8] >> (7 - x % 8)) & 1; }
};

std::vector<Page> collectPages(const Stream& stream);
std::vector<Page> collectPages(const std::vector<Item>& items);

// The feed and media-action packets as short words, for comparing whole
// sequences: "NUL*64", "PC0", "PC1", "DENSITY8", "FEED4,0", "CUT",
// "AREA", "ROWS", "QUERY".
std::vector<std::string> summarise(const Stream& stream);

}  // namespace korvostream
