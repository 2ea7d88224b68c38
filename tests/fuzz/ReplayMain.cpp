// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target without libFuzzer once on each file given, printing its
// name first so that a crash names its input. The code under test logs to
// standard error, silenced here; sanitizer reports still reach it.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) void __sanitizer_set_report_fd(void* fd);

int main(int argc, char* argv[])
{
    if (__sanitizer_set_report_fd != nullptr) {
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<intptr_t>(dup(STDERR_FILENO))));
    }
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    for (int i = 1; i < argc; ++i) {
        printf("%s\n", argv[i]);
        fflush(stdout);
        std::ifstream in(argv[i], std::ios::binary);
        if (!in) {
            printf("cannot read %s\n", argv[i]);
            return 1;
        }
        const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(in), {});
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    printf("replayed %d inputs\n", argc - 1);
    return 0;
}
