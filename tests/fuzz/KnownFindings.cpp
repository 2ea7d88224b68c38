// SPDX-License-Identifier: Apache-2.0
#include "KnownFindings.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// The largest value of each enumeration's range: CUPS_ORDER_PLANAR is 2,
// CUPS_CSPACE_DEVICEF 62.
constexpr unsigned kLastColorOrder = 3;
constexpr unsigned kLastColorSpace = 63;
constexpr unsigned kLowestSafeLabelDpi = 40;

// The field's bits, never loaded as the enumeration (which would itself be
// undefined for the values looked for).
template <typename Enum>
unsigned rawValue(const Enum& field)
{
    unsigned value = 0;
    memcpy(&value, &field, sizeof(value));
    return value;
}

bool isCanvasName(const char* name)
{
    for (const char* canvas : {"A4", "Letter", "Tattoo_A5", "Tattoo_A6"}) {
        if (strcmp(name, canvas) == 0) {
            return true;
        }
    }
    return false;
}

bool showsKnownFinding(bool stencil, const cups_page_header2_t& header)
{
    if (rawValue(header.cupsColorOrder) > kLastColorOrder || rawValue(header.cupsColorSpace) > kLastColorSpace) {
        return true;
    }
    int feed = 0;
    if (stencil && __builtin_mul_overflow(static_cast<int32_t>(header.HWResolution[0]), 120, &feed)) {
        return true;
    }
    return !stencil && isCanvasName(header.cupsPageSizeName) && header.HWResolution[0] < kLowestSafeLabelDpi;
}

}  // namespace

bool skipsKnownFinding(bool stencil, const std::vector<cups_page_header2_t>& headers)
{
    static const bool skip = getenv("KORVO_FUZZ_SKIP_KNOWN") != nullptr;
    return skip && std::any_of(headers.begin(), headers.end(),
                               [stencil](const auto& header) { return showsKnownFinding(stencil, header); });
}
