// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/VirtualPrinter.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace virtualprinter {

namespace {

constexpr size_t kChunkSize = 65536;

bool readable(int fd)
{
    pollfd input{fd, POLLIN, 0};
    return poll(&input, 1, 0) == 1;
}

}  // namespace

VirtualPrinter::VirtualPrinter(const PrinterSettings& settings, const JobDirectory& directory, UniqueFd streamFile,
                               int inputFd)
    : inputFd_(inputFd), streamFile_(std::move(streamFile)), sideChannel_(settings.deviceId),
      status_(settings.script, settings.replySize), previews_(directory), chunk_(kChunkSize)
{
}

std::optional<korvostream::FramingError> VirtualPrinter::run()
{
    while (running()) {
        pollfd waits[] = {{inputFd_, POLLIN, 0}, {sideChannel_.fd(), POLLIN, 0}};
        const int ready = poll(waits, 2, previews_.pending() ? 0 : -1);
        if (ready < 0 && errno != EINTR) {
            throw std::runtime_error(std::string("cannot wait for the filter: ") + strerror(errno));
        }
        if (ready == 0) {
            previews_.writeNext(resolution_.resolution());
        }
        if (waits[1].revents != 0) {
            serveSideChannel();
        }
        if (waits[0].revents != 0 && running()) {
            readChunk();
        }
    }
    finish();
    return parser_.error();
}

void VirtualPrinter::serveSideChannel()
{
    if (sideChannel_.serveRequest()) {
        readAvailable();
        sideChannel_.answerDrain();
    }
}

// Everything the filter has written so far: it flushes its output before
// it asks for a drain.
void VirtualPrinter::readAvailable()
{
    while (running() && readable(inputFd_)) {
        readChunk();
    }
}

void VirtualPrinter::readChunk()
{
    ssize_t count;
    do {
        count = read(inputFd_, chunk_.data(), chunk_.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        throw std::runtime_error(std::string("cannot read the job: ") + strerror(errno));
    }
    if (count == 0) {
        inputEnded_ = true;
        return;
    }
    record(chunk_.data(), static_cast<size_t>(count));
    take(parser_.feed(chunk_.data(), static_cast<size_t>(count)));
}

void VirtualPrinter::record(const uint8_t* data, size_t size)
{
    received_ += size;
    recordStream(streamFile_.get(), data, size);
}

void VirtualPrinter::take(std::vector<korvostream::Item> items)
{
    for (korvostream::Item& item : items) {
        resolution_.see(item);
        status_.see(item);
        if (std::optional<korvostream::PageItems> page = splitter_.add(std::move(item))) {
            previews_.add(std::move(*page));
        }
    }
}

void VirtualPrinter::finish()
{
    take(parser_.finish());
    if (std::optional<korvostream::PageItems> page = splitter_.finish()) {
        previews_.add(std::move(*page));
    }
    while (previews_.pending()) {
        previews_.writeNext(resolution_.resolution());
    }
}

}  // namespace virtualprinter
