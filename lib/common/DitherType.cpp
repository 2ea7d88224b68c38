// SPDX-License-Identifier: Apache-2.0
#include "common/DitherType.h"

#include <cstring>

namespace {
const char* const kTypeNames[] = {
    "None",   "FloydSteinberg", "Ordered", "Burkes",    "Stucki", "JarvisJudiceNinke",
    "Sierra", "StevensonArce",  "Tattoo",  "Tattoo_Q6",
};
constexpr int32_t kTypeCount = sizeof(kTypeNames) / sizeof(kTypeNames[0]);
}  // namespace

const char* korvoHalftoneTypeToStr(DitherType type)
{
    const int32_t value = type;
    if (value < 0 || value >= kTypeCount) {
        return kTypeNames[DITHER_NONE];
    }
    return kTypeNames[value];
}

DitherType korvoHalftoneTypeFromStr(const char* name, DitherType unknown)
{
    if (name == nullptr) {
        return unknown;
    }
    for (int32_t i = 0; i < kTypeCount; ++i) {
        if (strcmp(name, kTypeNames[i]) == 0) {
            return static_cast<DitherType>(i);
        }
    }
    return unknown;
}
