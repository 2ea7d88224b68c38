// SPDX-License-Identifier: Apache-2.0
// korvo-decode: lists the packets of a printer byte stream, sums the job up
// and draws its printed pages.
//
//   korvo-decode [--resolution 203|300] [--png PREFIX] STREAM
//
// STREAM "-" reads standard input. Each listing line: byte offset, command
// name, sub-command and the payload in words; framing errors follow with
// their byte offset and make the exit status 1. The summary names the
// resolution and how it was found (the stream has no field for it). With
// --png, each printed page is drawn as PREFIX-N.png (N from 1) as the paper
// leaves the printer (see korvostream/Sheet.h).

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "korvostream/JobSummary.h"
#include "korvostream/KorvoStream.h"
#include "korvostream/PageSplitter.h"
#include "korvostream/Resolution.h"
#include "korvostream/Sheet.h"
#include "korvostream/SheetPng.h"

namespace {

constexpr const char* kUsage = "Usage: korvo-decode [--resolution 203|300] [--png PREFIX] STREAM\n";

constexpr const char* kHelp = "Lists the packets of a Korvo printer stream, sums the job up and, with\n"
                              "--png, draws each printed page as PREFIX-1.png, PREFIX-2.png, ...\n"
                              "\n"
                              "  --resolution DPI  the stream's resolution (203 or 300) instead of the\n"
                              "                    one its print areas or stencil pre-feed show\n"
                              "  --png PREFIX      write the page pictures, one pixel per dot\n"
                              "  --help            this text\n"
                              "\n"
                              "STREAM \"-\" reads standard input. Exit status: 0 when the stream decodes,\n"
                              "1 on a framing error or a file that cannot be read or written, 2 on misuse.\n";

struct Arguments {
    std::optional<unsigned> dpi;
    std::string pngPrefix;
    std::string path;
};

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

std::optional<unsigned> parseDpi(const char* text)
{
    if (strcmp(text, "203") == 0 || strcmp(text, "300") == 0) {
        return static_cast<unsigned>(atoi(text));
    }
    return std::nullopt;
}

std::optional<Arguments> parseArguments(int argc, char* argv[])
{
    Arguments arguments;
    int i = 1;
    for (; i + 1 < argc && strncmp(argv[i], "--", 2) == 0; i += 2) {
        const std::string option = argv[i];
        if (option == "--png") {
            arguments.pngPrefix = argv[i + 1];
        } else if (option == "--resolution" && parseDpi(argv[i + 1])) {
            arguments.dpi = parseDpi(argv[i + 1]);
        } else {
            return std::nullopt;
        }
    }
    if (i != argc - 1) {
        return std::nullopt;
    }
    arguments.path = argv[i];
    return arguments;
}

bool readAll(const std::string& path, std::vector<uint8_t>& bytes)
{
    std::unique_ptr<FILE, FileCloser> opened(path == "-" ? nullptr : fopen(path.c_str(), "rb"));
    FILE* file = path == "-" ? stdin : opened.get();
    if (file == nullptr) {
        return false;
    }
    std::vector<uint8_t> chunk(65536);
    size_t count = 0;
    while ((count = fread(chunk.data(), 1, chunk.size(), file)) > 0) {
        bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return ferror(file) == 0;
}

void listItems(const korvostream::Stream& stream)
{
    size_t rowBytes = 0;
    for (const korvostream::Item& item : stream.items) {
        if (item.isNulRun) {
            printf("%08zu  NUL x%zu\n", item.offset, item.nulCount);
            continue;
        }
        if (const std::optional<korvostream::Area> area = korvostream::areaOf(item)) {
            rowBytes = area->width / 8;
        }
        printf("%08zu  %-12s sub=%02X  %s\n", item.offset, korvostream::commandName(item.command), item.subCommand,
               korvostream::describePayload(item, rowBytes).c_str());
    }
    for (const korvostream::FramingError& error : stream.errors) {
        printf("%08zu  framing error: %s\n", error.offset, error.message.c_str());
    }
}

bool drawPages(const korvostream::Stream& stream, const korvostream::Resolution& resolution, const std::string& prefix)
{
    bool written = true;
    size_t number = 0;
    for (const korvostream::PageItems& items : korvostream::splitPages(stream.items)) {
        const korvostream::Sheet sheet = korvostream::layOutSheet(items, resolution);
        const std::string path = prefix + "-" + std::to_string(++number) + ".png";
        if (korvostream::tooLargeToDraw(sheet)) {
            fprintf(stderr, "korvo-decode: page %zu is %zu x %zu dots, too large to draw\n", number, sheet.width,
                    sheet.height);
            written = false;
        } else if (korvostream::writeSheetPng(sheet, path)) {
            printf("page %zu: %zu x %zu pixels -> %s\n", number, sheet.width, sheet.height, path.c_str());
        } else {
            fprintf(stderr, "korvo-decode: cannot write %s\n", path.c_str());
            written = false;
        }
    }
    return written;
}

korvostream::Resolution resolutionOf(const korvostream::Stream& stream, const std::optional<unsigned>& dpi)
{
    if (dpi) {
        return *korvostream::resolutionForDpi(*dpi, "given with --resolution");
    }
    korvostream::ResolutionGuess guess;
    for (const korvostream::Item& item : stream.items) {
        guess.see(item);
    }
    return guess.resolution();
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
        printf("%s\n%s", kUsage, kHelp);
        return 0;
    }
    const std::optional<Arguments> arguments = parseArguments(argc, argv);
    if (!arguments) {
        fputs(kUsage, stderr);
        return 2;
    }
    std::vector<uint8_t> bytes;
    if (!readAll(arguments->path, bytes)) {
        fprintf(stderr, "korvo-decode: cannot read %s\n", arguments->path.c_str());
        return 1;
    }
    const korvostream::Stream stream = korvostream::parseStream(bytes);
    listItems(stream);
    const korvostream::Resolution resolution = resolutionOf(stream, arguments->dpi);
    printf("\n");
    for (const std::string& line : korvostream::summaryLines(stream, resolution)) {
        printf("%s\n", line.c_str());
    }
    const bool drawn = arguments->pngPrefix.empty() || drawPages(stream, resolution, arguments->pngPrefix);
    return stream.errors.empty() && drawn ? 0 : 1;
}
