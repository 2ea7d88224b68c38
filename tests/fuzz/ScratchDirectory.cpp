// SPDX-License-Identifier: Apache-2.0
#include "ScratchDirectory.h"

#include <dirent.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

ScratchDirectory::ScratchDirectory()
{
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != 0 ? tmp : "/tmp") + "/korvo-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a directory like " + pattern);
    }
    path_ = pattern;
}

ScratchDirectory::~ScratchDirectory()
{
    clear([](const std::string&) {});
    rmdir(path_.c_str());
}

void ScratchDirectory::clear(const std::function<void(const std::string& file)>& inspect)
{
    std::vector<std::string> files;
    if (DIR* dir = opendir(path_.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") {
                files.push_back(path_ + "/" + name);
            }
        }
        closedir(dir);
    }
    for (const std::string& file : files) {
        inspect(file);
        unlink(file.c_str());
    }
}
