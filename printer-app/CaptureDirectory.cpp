// SPDX-License-Identifier: Apache-2.0
#include "CaptureDirectory.h"

namespace {

std::string& directory()
{
    static std::string path = "/nonexistent";
    return path;
}

}  // namespace

void setCaptureDirectory(const std::string& spoolDirectory)
{
    directory() = spoolDirectory + "/captures";
}

const std::string& captureDirectory()
{
    return directory();
}
