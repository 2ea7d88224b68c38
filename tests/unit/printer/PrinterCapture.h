// Test helpers: an in-memory output stream for the printer, and a strict
// reader of the packets written to it.
#pragma once

#include "CaptureStderr.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

#include "OndrelPrinter.h"

namespace printertest {

// A FILE* writing into memory.
class MemStream {
public:
    MemStream() { file_ = open_memstream(&buf_, &len_); }
    ~MemStream()
    {
        if (file_ != nullptr) {
            fclose(file_);
        }
        free(buf_);
    }
    MemStream(const MemStream&) = delete;
    MemStream& operator=(const MemStream&) = delete;

    FILE* file() const { return file_; }

    std::vector<uint8_t> bytes()
    {
        fflush(file_);
        return std::vector<uint8_t>(reinterpret_cast<uint8_t*>(buf_), reinterpret_cast<uint8_t*>(buf_) + len_);
    }

private:
    char* buf_ = nullptr;
    size_t len_ = 0;
    FILE* file_ = nullptr;
};

// A printer whose only output stream is a memory stream.
struct CapturedPrinter {
    CapturedPrinter()
    {
        printer.getOutputStreams().clear();
        printer.getOutputStreams().push_back(out.file());
    }
    ~CapturedPrinter() { printer.getOutputStreams().clear(); }

    std::vector<uint8_t> bytes() { return out.bytes(); }

    MemStream out;
    OndrelPrinter printer;
};

struct Packet {
    uint8_t command = 0;
    uint8_t sub = 0;
    std::vector<uint8_t> payload;
    uint32_t reserved = 0;
};

// Splits a byte stream into packets, checking each frame byte by byte. Any
// framing fault is a test failure and stops reading.
inline std::vector<Packet> decodePackets(const std::vector<uint8_t>& bytes)
{
    std::vector<Packet> packets;
    size_t pos = 0;
    while (pos < bytes.size()) {
        if (bytes.size() - pos < 10) {
            ADD_FAILURE() << "truncated packet at offset " << pos;
            break;
        }
        if (bytes[pos] != 0x64) {
            ADD_FAILURE() << "bad head byte at offset " << pos << ": " << int(bytes[pos]);
            break;
        }
        const size_t length = bytes[pos + 3] | (size_t(bytes[pos + 4]) << 8);
        if (bytes.size() - pos < length + 10) {
            ADD_FAILURE() << "payload of " << length << " bytes runs past the end at offset " << pos;
            break;
        }
        Packet p;
        p.command = bytes[pos + 1];
        p.sub = bytes[pos + 2];
        p.payload.assign(bytes.begin() + long(pos + 5), bytes.begin() + long(pos + 5 + length));
        const size_t r = pos + 5 + length;
        p.reserved = uint32_t(bytes[r]) | (uint32_t(bytes[r + 1]) << 8) | (uint32_t(bytes[r + 2]) << 16) |
                     (uint32_t(bytes[r + 3]) << 24);
        if (bytes[r + 4] != 0x9B) {
            ADD_FAILURE() << "bad tail byte at offset " << r + 4 << ": " << int(bytes[r + 4]);
            break;
        }
        packets.push_back(std::move(p));
        pos += length + 10;
    }
    return packets;
}

inline unsigned le16(const std::vector<uint8_t>& p, size_t at) { return p[at] | (unsigned(p[at + 1]) << 8); }

}  // namespace printertest
