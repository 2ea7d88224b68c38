// SPDX-License-Identifier: Apache-2.0
#include "JobNumbering.h"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

unsigned long numberOf(const char* name)
{
    char* end = nullptr;
    const unsigned long number = strtoul(name, &end, 10);
    return end != name && *end == '\0' ? number : 0;
}

}  // namespace

std::string nextJobNumber(const std::string& directory)
{
    unsigned long highest = 0;
    const std::unique_ptr<DIR, DirCloser> entries(opendir(directory.c_str()));
    while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
        highest = std::max(highest, numberOf(entry->d_name));
    }
    return std::to_string(highest + 1);
}
