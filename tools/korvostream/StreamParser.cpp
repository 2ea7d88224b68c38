// SPDX-License-Identifier: Apache-2.0
#include "korvostream/StreamParser.h"

#include <cstdio>
#include <string>

namespace korvostream {

namespace {

constexpr uint8_t kHead = 0x64;
constexpr uint8_t kTail = 0x9B;
constexpr size_t kHeader = 5;
constexpr size_t kFraming = 10;

uint16_t le16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t le32(const uint8_t* p)
{
    return static_cast<uint32_t>(le16(p)) | (static_cast<uint32_t>(le16(p + 2)) << 16);
}

std::string hexMessage(const char* fmt, unsigned value)
{
    char text[64];
    snprintf(text, sizeof(text), fmt, value);
    return text;
}

}  // namespace

std::vector<Item> StreamParser::feed(const uint8_t* data, size_t size)
{
    std::vector<Item> items;
    if (error_) {
        return items;
    }
    pending_.insert(pending_.end(), data, data + size);
    size_t pos = 0;
    while (pos < pending_.size()) {
        if (pending_[pos] == 0) {
            extendNulRun(pendingOffset_ + pos);
            ++pos;
            continue;
        }
        closeNulRun(items);
        const size_t used = takePacket(pos, items);
        if (used == 0) {
            break;
        }
        pos += used;
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(pos));
    pendingOffset_ += pos;
    return items;
}

std::vector<Item> StreamParser::finish()
{
    std::vector<Item> items;
    closeNulRun(items);
    if (!error_ && !pending_.empty()) {
        error_ = pending_.size() < kHeader
                     ? FramingError{pendingOffset_, "packet header past the end of the stream"}
                     : FramingError{pendingOffset_, "payload length " + std::to_string(le16(pending_.data() + 3)) +
                                                        " past the end of the stream"};
    }
    pending_.clear();
    return items;
}

void StreamParser::extendNulRun(size_t offset)
{
    if (!nulRun_) {
        nulRun_.emplace();
        nulRun_->offset = offset;
        nulRun_->isNulRun = true;
    }
    ++nulRun_->nulCount;
}

void StreamParser::closeNulRun(std::vector<Item>& items)
{
    if (nulRun_) {
        items.push_back(std::move(*nulRun_));
        nulRun_.reset();
    }
}

// Takes the packet at pos: the bytes it used, 0 when it is not complete yet
// or is malformed (then error_ tells where and why).
size_t StreamParser::takePacket(size_t pos, std::vector<Item>& items)
{
    const uint8_t* p = pending_.data() + pos;
    const size_t available = pending_.size() - pos;
    const size_t offset = pendingOffset_ + pos;
    if (p[0] != kHead) {
        error_ = FramingError{offset, hexMessage("bad head byte 0x%02X", p[0])};
        return 0;
    }
    if (available < kHeader) {
        return 0;
    }
    const size_t length = le16(p + 3);
    if (available < kFraming + length) {
        return 0;
    }
    const uint32_t reserved = le32(p + kHeader + length);
    if (reserved != 0) {
        error_ = FramingError{offset + kHeader + length, hexMessage("non-zero reserved word 0x%08X", reserved)};
        return 0;
    }
    const uint8_t tail = p[kFraming - 1 + length];
    if (tail != kTail) {
        error_ = FramingError{offset + kFraming - 1 + length, hexMessage("bad tail byte 0x%02X", tail)};
        return 0;
    }
    Item packet;
    packet.offset = offset;
    packet.command = p[1];
    packet.subCommand = p[2];
    packet.payload.assign(p + kHeader, p + kHeader + length);
    items.push_back(std::move(packet));
    return kFraming + length;
}

}  // namespace korvostream
