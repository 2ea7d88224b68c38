// SPDX-License-Identifier: Apache-2.0
// korvo-decode: lists the packets of a printer byte stream, one per line.
//
//   korvo-decode [--png PREFIX] STREAM      (STREAM "-" reads standard input)
//
// Each line: byte offset, command name, sub-command and the payload in
// words. Framing errors are reported with their byte offset and make the
// exit status 1. With --png, each printed page is also written as
// PREFIX-N.png (N from 1), printed dots black on white.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "korvostream/KorvoStream.h"
#include "korvostream/PagePng.h"

namespace {

bool readAll(const char* path, std::vector<uint8_t>& bytes)
{
    FILE* file = strcmp(path, "-") == 0 ? stdin : fopen(path, "rb");
    if (file == nullptr) {
        return false;
    }
    uint8_t chunk[65536];
    size_t count = 0;
    while ((count = fread(chunk, 1, sizeof(chunk), file)) > 0) {
        bytes.insert(bytes.end(), chunk, chunk + count);
    }
    const bool ok = ferror(file) == 0;
    if (file != stdin) {
        fclose(file);
    }
    return ok;
}

void listItems(const korvostream::Stream& stream)
{
    size_t rowBytes = 0;
    for (const korvostream::Item& item : stream.items) {
        if (item.isNulRun) {
            printf("%08zu  NUL x%zu\n", item.offset, item.nulCount);
            continue;
        }
        if (item.is(korvostream::Command::PrintArea) && item.payload.size() == 4) {
            rowBytes = (item.payload[2] | (item.payload[3] << 8)) / 8;
        }
        printf("%08zu  %-12s sub=%02X  %s\n", item.offset, korvostream::commandName(item.command), item.subCommand,
               korvostream::describePayload(item, rowBytes).c_str());
    }
}

bool writePictures(const korvostream::Stream& stream, const std::string& prefix)
{
    bool written = true;
    int number = 0;
    for (const korvostream::Page& page : korvostream::collectPages(stream)) {
        const std::string path = prefix + "-" + std::to_string(++number) + ".png";
        if (korvostream::writePagePng(page, path)) {
            printf("page %d: %zu x %zu dots -> %s\n", number, page.rowBytes * 8, page.rows, path.c_str());
        } else {
            fprintf(stderr, "cannot write %s\n", path.c_str());
            written = false;
        }
    }
    return written;
}

}  // namespace

int main(int argc, char* argv[])
{
    const bool pictures = argc == 4 && strcmp(argv[1], "--png") == 0;
    if (argc != 2 && !pictures) {
        fprintf(stderr, "Usage: %s [--png PREFIX] STREAM\n", argv[0]);
        return 2;
    }
    const char* path = argv[argc - 1];
    std::vector<uint8_t> bytes;
    if (!readAll(path, bytes)) {
        fprintf(stderr, "%s: cannot read %s\n", argv[0], path);
        return 1;
    }
    const korvostream::Stream stream = korvostream::parseStream(bytes);
    listItems(stream);
    if (pictures && !writePictures(stream, argv[2])) {
        return 1;
    }
    for (const korvostream::FramingError& error : stream.errors) {
        printf("%08zu  framing error: %s\n", error.offset, error.message.c_str());
    }
    return stream.errors.empty() ? 0 : 1;
}
