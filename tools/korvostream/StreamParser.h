// SPDX-License-Identifier: Apache-2.0
// Reads the printer byte stream as it arrives: bytes go in a piece at a
// time, complete items come out, so that a reader can act on a packet
// before the rest of the job has been written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "korvostream/KorvoStream.h"

namespace korvostream {

class StreamParser {
public:
    // Takes the next bytes and gives the items they complete. After a
    // framing error everything else is ignored.
    std::vector<Item> feed(const uint8_t* data, size_t size);
    // The end of the stream: gives the last run of NUL bytes, and records a
    // packet cut short as a framing error.
    std::vector<Item> finish();

    const std::optional<FramingError>& error() const { return error_; }

private:
    void extendNulRun(size_t offset);
    void closeNulRun(std::vector<Item>& items);
    size_t takePacket(size_t pos, std::vector<Item>& items);

    std::vector<uint8_t> pending_;  // the start of a packet not yet complete
    size_t pendingOffset_ = 0;      // stream offset of pending_[0]
    std::optional<Item> nulRun_;
    std::optional<FramingError> error_;
};

}  // namespace korvostream
