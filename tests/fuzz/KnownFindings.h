// SPDX-License-Identifier: Apache-2.0
// The findings of fuzz_filter that are reported but not fixed yet; each has
// its input in regressions/fuzz_filter/, whose test fails until the fix.
// With KORVO_FUZZ_SKIP_KNOWN set in the environment, fuzz_filter skips the
// inputs that would show one of them again, so that a long run can look past
// them; the replay tests never set it. Remove a check when its fix lands.
//
// - A page header's cupsColorOrder or cupsColorSpace outside its enumeration
//   (the filter logs them as the enumerations: undefined behaviour).
// - A stencil printer's page whose HWResolution[0] times 120 overflows int
//   (the feed before the image).
// - A label printer's page named after an anti-wrinkle canvas (A4, Letter,
//   Tattoo_A5, Tattoo_A6) below 40 dpi (the frame of level -1 expands the
//   page to millions of dots across).
#pragma once

#include <cups/raster.h>

#include <vector>

bool skipsKnownFinding(bool stencil, const std::vector<cups_page_header2_t>& headers);
