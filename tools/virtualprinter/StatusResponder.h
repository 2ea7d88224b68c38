// SPDX-License-Identifier: Apache-2.0
// Answers the filter's status queries as they are read, each with the next
// answer of the status script, which reports a page printed once its image
// has arrived: the 13-byte reply 64 FF 00 00 00 and the status word
// little-endian, padded with NUL bytes to the reply size. The replies go to
// the spooler's back channel (fd 3) unless another sink is given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "korvostream/KorvoStream.h"
#include "virtualprinter/StatusScript.h"

namespace virtualprinter {

// Takes one reply and the status word it carries; false once replies can no
// longer be delivered.
using ReplySink = std::function<bool(uint64_t status, const std::vector<char>& reply)>;

// The spooler's back channel, written with cupsBackChannelWrite.
ReplySink backChannelSink();

class StatusResponder {
public:
    StatusResponder(StatusScript script, size_t replySize, ReplySink sink = backChannelSink());

    void see(const korvostream::Item& item);

private:
    void answer();

    StatusScript script_;
    size_t replySize_;
    ReplySink sink_;
    bool backChannelOpen_ = true;
    bool pagePrinted_ = false;  // an image arrived that no answer has reported printed
    unsigned long queries_ = 0;
};

}  // namespace virtualprinter
