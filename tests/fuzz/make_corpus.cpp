// SPDX-License-Identifier: Apache-2.0
// Writes the seed corpus of the three fuzz targets, the same bytes on every
// run:
//
//   korvo-fuzz-corpus CORPUS_DIRECTORY PPD_DIRECTORY
//
// replaces CORPUS_DIRECTORY/fuzz_filter, fuzz_image and fuzz_stream (the
// build's target korvo_fuzz_corpus does it for tests/fuzz/corpus). The
// filter's log of the jobs it runs for the stream seeds is discarded.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "FilterSeeds.h"
#include "ImageSeeds.h"

namespace {

void writeSeeds(const std::filesystem::path& directory, const Seeds& seeds)
{
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
    for (const auto& [name, bytes] : seeds) {
        std::ofstream(directory / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    printf("%zu seeds in %s\n", seeds.size(), directory.c_str());
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        fprintf(stderr, "Usage: %s CORPUS_DIRECTORY PPD_DIRECTORY\n", argv[0]);
        return 2;
    }
    const std::filesystem::path corpus = argv[1];
    const Seeds jobs = filterSeeds();
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDERR_FILENO);
    close(null);
    const Seeds streams = streamsOf(jobs, argv[2]);
    writeSeeds(corpus / "fuzz_filter", jobs);
    writeSeeds(corpus / "fuzz_image", imageSeeds());
    writeSeeds(corpus / "fuzz_stream", streams);
    return 0;
}
