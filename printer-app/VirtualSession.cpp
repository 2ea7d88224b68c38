// SPDX-License-Identifier: Apache-2.0
#include "VirtualSession.h"

#include <algorithm>
#include <stdexcept>

#include "JobNumbering.h"
#include "OndrelPrinter.h"
#include "virtualprinter/PreviewWriter.h"

namespace {

bool onlyStatusQueries(const std::vector<korvostream::Item>& items)
{
    return std::all_of(items.begin(), items.end(),
                       [](const korvostream::Item& item) { return item.is(korvostream::Command::StatusQuery); });
}

}  // namespace

VirtualPrinterState::VirtualPrinterState(const virtualprinter::PrinterSettings& printerSettings)
    : settings(printerSettings), responder(settings.script, settings.replySize, [this](uint64_t status, const std::vector<char>& reply) {
          replies.insert(replies.end(), reply.begin(), reply.end());
          lastStatus = static_cast<long>(status);
          return true;
      })
{
}

VirtualSession::VirtualSession(std::shared_ptr<VirtualPrinterState> state) : state_(std::move(state))
{
}

void VirtualSession::write(const uint8_t* data, size_t size)
{
    std::vector<korvostream::Item> items = parser_.feed(data, size);
    if (!directory_ && (!onlyStatusQueries(items) || parser_.error())) {
        openJob();
    }
    record(data, size);
    take(std::move(items));
}

size_t VirtualSession::readReplies(char* buffer, size_t size)
{
    const std::lock_guard<std::mutex> lock(state_->mutex);
    const size_t count = std::min(size, state_->replies.size());
    std::copy_n(state_->replies.begin(), count, buffer);
    state_->replies.erase(state_->replies.begin(), state_->replies.begin() + static_cast<std::ptrdiff_t>(count));
    return count;
}

unsigned VirtualSession::deviceReasons() const
{
    const std::lock_guard<std::mutex> lock(state_->mutex);
    const long status = state_->lastStatus;
    const bool paperOut = (status & kStatusReady) == 0 && (status & kStatusPaperOut) != 0;
    return ((status & kStatusCoverOpen) != 0 ? PAPPL_PREASON_COVER_OPEN : 0) |
           (paperOut ? PAPPL_PREASON_MEDIA_EMPTY : 0);
}

void VirtualSession::finish()
{
    take(parser_.finish());
    if (std::optional<korvostream::PageItems> page = splitter_.finish()) {
        pages_.push_back(std::move(*page));
    }
    if (!directory_) {
        return;
    }
    virtualprinter::PreviewWriter previews(*directory_);
    for (korvostream::PageItems& page : pages_) {
        previews.add(std::move(page));
        previews.writeNext(resolution_.resolution());
    }
}

void VirtualSession::record(const uint8_t* data, size_t size)
{
    if (!directory_) {
        held_.insert(held_.end(), data, data + size);
        return;
    }
    virtualprinter::recordStream(streamFile_.get(), data, size);
}

void VirtualSession::openJob()
{
    directory_.emplace(state_->settings.directory, nextJobNumber(state_->settings.directory));
    streamFile_ = directory_->create("stream.bin");
    const std::vector<uint8_t> held = std::move(held_);
    record(held.data(), held.size());
}

void VirtualSession::take(std::vector<korvostream::Item> items)
{
    for (korvostream::Item& item : items) {
        resolution_.see(item);
        {
            const std::lock_guard<std::mutex> lock(state_->mutex);
            state_->responder.see(item);
        }
        if (std::optional<korvostream::PageItems> page = splitter_.add(std::move(item))) {
            pages_.push_back(std::move(*page));
        }
    }
}
