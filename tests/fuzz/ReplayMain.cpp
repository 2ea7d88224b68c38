// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target without libFuzzer: every file given and every file of
// the directories given, once, in name order. Used by the tests of every
// build to replay the corpus and the regression inputs:
//
//   fuzz_<target>_replay FILE_OR_DIRECTORY...
//
// Each file's name goes to standard output before it runs, so that a crash
// names its input. The code under test logs to standard error, which is
// silenced; sanitizer reports still reach the original standard error.
// A directory without files is an error.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) void __sanitizer_set_report_fd(void* fd);

namespace {

std::vector<std::filesystem::path> inputsOf(const char* path)
{
    if (!std::filesystem::is_directory(path)) {
        return {path};
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void silenceStandardError()
{
    const int original = dup(STDERR_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    if (__sanitizer_set_report_fd != nullptr) {
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<intptr_t>(original)));
    }
    dup2(null, STDERR_FILENO);
    close(null);
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        fprintf(stderr, "Usage: %s FILE_OR_DIRECTORY...\n", argv[0]);
        return 2;
    }
    silenceStandardError();
    for (int i = 1; i < argc; ++i) {
        const std::vector<std::filesystem::path> files = inputsOf(argv[i]);
        if (files.empty()) {
            printf("no inputs in %s\n", argv[i]);
            return 1;
        }
        for (const std::filesystem::path& file : files) {
            printf("%s\n", file.c_str());
            fflush(stdout);
            std::ifstream in(file, std::ios::binary);
            const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
        printf("replayed %zu inputs of %s\n", files.size(), argv[i]);
    }
    return 0;
}
