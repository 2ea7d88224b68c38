// SPDX-License-Identifier: Apache-2.0
#include "common/KorvoLog.h"

#include <cstdarg>
#include <cstdio>

namespace {
const char* const kLevelPrefix[] = {"DEBUG:", "DEBUG:", "WARN:", "ERROR:", "CRIT:", "INVALID:"};
constexpr int kLevelCount = sizeof(kLevelPrefix) / sizeof(kLevelPrefix[0]);
}  // namespace

void korvoLogCommon(int level, const char* format, ...)
{
    // Out-of-range levels are never passed by the program; treat them as
    // "INVALID:" rather than read outside the table.
    if (level < 0 || level >= kLevelCount) {
        level = kLevelCount - 1;
    }
    fputs(kLevelPrefix[level], stderr);
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
    fputs("\n", stderr);
}
