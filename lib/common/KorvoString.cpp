// SPDX-License-Identifier: Apache-2.0
#include "common/KorvoString.h"

#include <cstring>

const char* korvoPathGetBasename(const char* path)
{
    if (path == nullptr) {
        return nullptr;
    }
    const char* slash = strrchr(path, '/');
    const char* backslash = strrchr(path, '\\');
    const char* separator = slash;
    if (separator == nullptr || (backslash != nullptr && backslash > slash)) {
        separator = backslash;
    }
    return separator != nullptr ? separator + 1 : path;
}

char* korvoStrCpy(char* dst, const char* src, size_t size)
{
    if (size == 0) {
        return dst;
    }
    strncpy(dst, src, size);
    dst[size - 1] = 0;
    return dst;
}
