// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/StatusResponder.h"

#include <cups/sidechannel.h>

#include <cstdio>
#include <vector>

namespace virtualprinter {

namespace {

constexpr double kWriteTimeout = 1.0;

std::vector<char> statusReply(uint64_t status, size_t size)
{
    std::vector<char> reply = {0x64, static_cast<char>(0xFF), 0, 0, 0};
    for (int i = 0; i < 8; ++i) {
        reply.push_back(static_cast<char>(status >> (8 * i)));
    }
    reply.resize(size, 0);
    return reply;
}

}  // namespace

ReplySink backChannelSink()
{
    return [](uint64_t, const std::vector<char>& reply) {
        return cupsBackChannelWrite(reply.data(), reply.size(), kWriteTimeout) == static_cast<ssize_t>(reply.size());
    };
}

StatusResponder::StatusResponder(StatusScript script, size_t replySize, ReplySink sink)
    : script_(std::move(script)), replySize_(replySize), sink_(std::move(sink))
{
}

void StatusResponder::see(const korvostream::Item& item)
{
    if (item.is(korvostream::Command::ImageRows)) {
        pagePrinted_ = true;
    } else if (item.is(korvostream::Command::StatusQuery)) {
        answer();
    }
}

void StatusResponder::answer()
{
    const uint64_t status = script_.next(pagePrinted_);
    pagePrinted_ = pagePrinted_ && !StatusScript::reportsPrinted(status);
    fprintf(stderr, "DEBUG: Status query %lu answered 0x%llX\n", ++queries_, static_cast<unsigned long long>(status));
    if (!backChannelOpen_) {
        return;
    }
    const std::vector<char> reply = statusReply(status, replySize_);
    if (!sink_(status, reply)) {
        fprintf(stderr, "DEBUG: Back channel closed; no more status replies.\n");
        backChannelOpen_ = false;
    }
}

}  // namespace virtualprinter
