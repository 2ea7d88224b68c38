// SPDX-License-Identifier: Apache-2.0
// The raster stream the job's pages come from: the file argument or
// standard input, read through libcups. Reading stops at once when the job
// is cancelled, even while no data comes, and the input keeps count of the
// bytes it delivered so that the page loop can tell a clean end of the
// stream from one that breaks off inside a page header. Each read from the
// descriptor takes whatever has arrived, up to a chunk, so that a stream that
// comes in pieces is passed on as it comes, and one that is there already
// costs few system calls (libcups asks for a row at a time).
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <vector>

class RasterInput {
public:
    // Reads from the descriptor; descriptor 0 (standard input) is never
    // closed, any other is closed with the input.
    explicit RasterInput(int fd);
    ~RasterInput();
    RasterInput(const RasterInput&) = delete;
    RasterInput& operator=(const RasterInput&) = delete;

    // Opens the raster stream; null when the data is not a raster stream.
    cups_raster_t* open();
    size_t bytesDelivered() const { return delivered_; }

private:
    static ssize_t readCallback(void* context, unsigned char* buffer, size_t bytes);
    ssize_t read(unsigned char* buffer, size_t bytes);
    // Waits for data and reads what has arrived, at most `bytes`.
    ssize_t readArrived(unsigned char* buffer, size_t bytes);

    int fd_;
    std::vector<unsigned char> chunk_;
    size_t chunkStart_ = 0;
    size_t chunkEnd_ = 0;
    cups_raster_t* raster_ = nullptr;
    size_t delivered_ = 0;
};
