// SPDX-License-Identifier: Apache-2.0
#include "pipeline/ImageCapture.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <vector>

#include "common/KorvoString.h"
#include "pipeline/CaptureWriteback.h"
#include "printer/KorvoPrinter.h"

int64_t page_index = 0;

namespace {

constexpr uint32_t kHeadersSize = 54;
constexpr uint32_t kPalette8Size = 256 * 4;
constexpr uint32_t kPalette1Size = 2 * 4;

void put16(std::vector<uint8_t>& bytes, uint32_t value)
{
    bytes.push_back(static_cast<uint8_t>(value));
    bytes.push_back(static_cast<uint8_t>(value >> 8));
}

void put32(std::vector<uint8_t>& bytes, uint32_t value)
{
    put16(bytes, value & 0xFFFF);
    put16(bytes, value >> 16);
}

// File header, information header and palette of an uncompressed bottom-up
// bitmap of 8 bits (gray ramp) or 1 bit (black, white).
std::vector<uint8_t> bitmapHeaders(uint32_t width, uint32_t height, bool eightBits)
{
    const uint32_t rowBytes = eightBits ? width : (width + 7) / 8;
    const uint32_t stride = (rowBytes + 3) / 4 * 4;
    const uint32_t imageSize = stride * height;
    const uint32_t pixelOffset = kHeadersSize + (eightBits ? kPalette8Size : kPalette1Size);
    const uint32_t colours = eightBits ? 256 : 0;
    std::vector<uint8_t> bytes;
    put16(bytes, 0x4D42);
    put32(bytes, pixelOffset + imageSize);
    put16(bytes, 0);
    put16(bytes, 0);
    put32(bytes, pixelOffset);
    put32(bytes, 40);
    put32(bytes, width);
    put32(bytes, height);
    put16(bytes, 1);
    put16(bytes, eightBits ? 8 : 1);
    put32(bytes, 0);
    put32(bytes, imageSize);
    put32(bytes, 0);
    put32(bytes, 0);
    put32(bytes, colours);
    put32(bytes, colours);
    if (eightBits) {
        for (uint32_t i = 0; i < 256; ++i) {
            bytes.insert(bytes.end(), {static_cast<uint8_t>(i), static_cast<uint8_t>(i), static_cast<uint8_t>(i), 0});
        }
    } else {
        bytes.insert(bytes.end(), {0, 0, 0, 0, 255, 255, 255, 0});
    }
    return bytes;
}

// 1-bit rows, bottom-up: a blank source byte becomes white (1), ink black.
std::vector<uint8_t> oneBitRows(const unsigned char* data, unsigned long bytesPerLine, unsigned long height,
                                unsigned long width)
{
    const size_t stride = ((width + 7) / 8 + 3) / 4 * 4;
    std::vector<uint8_t> row(std::max<size_t>(stride, (bytesPerLine + 7) / 8));
    std::vector<uint8_t> rows;
    rows.reserve(stride * height);
    for (unsigned long out = 0; out < height; ++out) {
        const unsigned char* source = data + bytesPerLine * (height - 1 - out);
        std::fill(row.begin(), row.end(), 0);
        for (unsigned long x = 0; x < bytesPerLine; ++x) {
            if (source[x] == 0) {
                row[x / 8] = static_cast<uint8_t>(row[x / 8] | (0x80 >> (x % 8)));
            }
        }
        if (bytesPerLine % 8 != 0) {
            row[bytesPerLine / 8] = static_cast<uint8_t>(row[bytesPerLine / 8] | (0xFF >> (bytesPerLine % 8)));
        }
        rows.insert(rows.end(), row.begin(), row.begin() + static_cast<long>(stride));
    }
    return rows;
}

// Writes the headers and the pixel data with as few system calls as the
// kernel allows: one for the whole file unless it takes less.
void writeFile(int fd, const std::vector<uint8_t>& headers, const unsigned char* pixels, size_t size)
{
    iovec parts[2] = {{const_cast<uint8_t*>(headers.data()), headers.size()},
                      {const_cast<unsigned char*>(pixels), size}};
    iovec* part = parts;
    int count = 2;
    while (count > 0) {
        const ssize_t written = writev(fd, part, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        size_t left = static_cast<size_t>(written);
        while (count > 0 && left >= part->iov_len) {
            left -= part->iov_len;
            ++part;
            --count;
        }
        if (count > 0) {
            part->iov_base = static_cast<unsigned char*>(part->iov_base) + left;
            part->iov_len -= left;
        }
    }
}

// Captures go to the spooler's own temporary directory: one is written only
// when it leaves at least 1 GiB and a tenth of that file system free.
bool roomFor(const std::string& directory, uint64_t bytes)
{
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    struct statvfs space;
    const bool known = fstatvfs(fd, &space) == 0;
    close(fd);
    if (!known) {
        return false;
    }
    const uint64_t available = uint64_t{space.f_bavail} * space.f_frsize;
    const uint64_t total = uint64_t{space.f_blocks} * space.f_frsize;
    const uint64_t keep = std::max<uint64_t>(uint64_t{1} << 30, total / 10);
    return available >= bytes && available - bytes >= keep;
}

// A new file only: captures hold users' documents, so they are private, never
// replace an existing file and never follow a symbolic link.
int createCaptureFile(const char* path)
{
    return open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

}  // namespace

void KorvoPrinter::setCaptureTemplate(const char* fileNamePattern)
{
    korvoStrCpy(capturePathTemplate_, fileNamePattern, sizeof(capturePathTemplate_));
}

void KorvoPrinter::saveImage(const unsigned char* data, unsigned long bytesPerLine, unsigned long height,
                             unsigned long width, unsigned short bitsPerPixel)
{
    const time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    char name[sizeof(capturePathTemplate_) + 64];
    snprintf(name, sizeof(name), capturePathTemplate_, local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
             local.tm_hour, local.tm_min, local.tm_sec, static_cast<long>(page_index));
    ++page_index;

    const std::string path = captureDirectory_ + "/" + name;
    const bool eightBits = bitsPerPixel == 8;
    const uint64_t size =
        kHeadersSize + (eightBits ? kPalette8Size + uint64_t{width} * height
                                  : kPalette1Size + uint64_t{height} * (((width + 7) / 8 + 3) / 4 * 4));
    const int fd = roomFor(captureDirectory_, size) ? createCaptureFile(path.c_str()) : -1;
    if (fd < 0) {
        fprintf(stderr, "KorvoPrinter::saveImage: unable to open the file %s\n", path.c_str());
        return;
    }
    const std::vector<uint8_t> headers =
        bitmapHeaders(static_cast<uint32_t>(width), static_cast<uint32_t>(height), eightBits);
    if (eightBits) {
        // The rows as they lie in memory, width bytes each, unpadded.
        writeFile(fd, headers, data, width * height);
    } else {
        const std::vector<uint8_t> rows = oneBitRows(data, bytesPerLine, height, width);
        writeFile(fd, headers, rows.data(), rows.size());
    }
    captureWriteback().keep(fd);
}
