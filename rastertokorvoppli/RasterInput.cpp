// SPDX-License-Identifier: Apache-2.0
#include "RasterInput.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/KorvoCancel.h"

namespace {

constexpr size_t kChunk = 64 * 1024;

}  // namespace

RasterInput::RasterInput(int fd) : fd_(fd), chunk_(kChunk)
{
}

RasterInput::~RasterInput()
{
    if (raster_ != nullptr) {
        cupsRasterClose(raster_);
    }
    if (fd_ != 0) {
        close(fd_);
    }
}

cups_raster_t* RasterInput::open()
{
    raster_ = cupsRasterOpenIO(&RasterInput::readCallback, this, CUPS_RASTER_READ);
    return raster_;
}

ssize_t RasterInput::readCallback(void* context, unsigned char* buffer, size_t bytes)
{
    return static_cast<RasterInput*>(context)->read(buffer, bytes);
}

// Serves libcups from the chunk read last, and reads the next chunk when
// that is used up; a request of a chunk or more is read directly.
ssize_t RasterInput::read(unsigned char* buffer, size_t bytes)
{
    if (korvoJobCancelled()) {
        return -1;
    }
    if (chunkStart_ == chunkEnd_) {
        if (bytes >= kChunk) {
            const ssize_t count = readArrived(buffer, bytes);
            delivered_ += count > 0 ? static_cast<size_t>(count) : 0;
            return count;
        }
        const ssize_t count = readArrived(chunk_.data(), kChunk);
        if (count <= 0) {
            return count;
        }
        chunkStart_ = 0;
        chunkEnd_ = static_cast<size_t>(count);
    }
    const size_t count = std::min(bytes, chunkEnd_ - chunkStart_);
    memcpy(buffer, chunk_.data() + chunkStart_, count);
    chunkStart_ += count;
    delivered_ += count;
    return static_cast<ssize_t>(count);
}

// Waits for data or for the job to be cancelled; a cancelled job reads as
// a failed read, which ends the stream for libcups.
ssize_t RasterInput::readArrived(unsigned char* buffer, size_t bytes)
{
    pollfd waits[2] = {{fd_, POLLIN, 0}, {korvoCancelFd(), POLLIN, 0}};
    while (!korvoJobCancelled()) {
        if (poll(waits, waits[1].fd >= 0 ? 2 : 1, -1) < 0 && errno != EINTR) {
            return -1;
        }
        if (korvoJobCancelled() || waits[0].revents == 0) {
            continue;
        }
        const ssize_t count = ::read(fd_, buffer, bytes);
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        return count;
    }
    return -1;
}
