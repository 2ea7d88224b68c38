// SPDX-License-Identifier: Apache-2.0
#include "RasterInput.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "common/KorvoCancel.h"

RasterInput::RasterInput(int fd) : fd_(fd)
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

// Waits for data or for the job to be cancelled; a cancelled job reads as
// a failed read, which ends the stream for libcups.
ssize_t RasterInput::read(unsigned char* buffer, size_t bytes)
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
        if (count > 0) {
            delivered_ += static_cast<size_t>(count);
        }
        return count;
    }
    return -1;
}
