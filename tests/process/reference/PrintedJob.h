// Helpers of the printed-page tests: test pages, a job run through the
// filter, and the comparison of every printed page with the reference.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "FilterProcess.h"
#include "PageReference.h"
#include "RasterFile.h"

namespace printedjob {

using Shade = std::function<uint8_t(unsigned x, unsigned y)>;

// A cheap, well-mixed hash of the seed and the position.
uint32_t mix(uint32_t seed, unsigned x, unsigned y);
// Noise over the whole range, and smooth shapes with a little noise.
Shade randomShade(uint32_t seed);
Shade photoShade(uint32_t seed);

// A page of the given size, resolution and page size name.
korvotest::RasterPage page(unsigned width, unsigned height, unsigned dpi, const std::string& sizeName,
                           const Shade& shade);

// The options of a job with these settings (antiWrinkle only when >= 0).
std::string optionsFor(const pageref::JobSettings& settings);

// Prints the pages with the PPD and options, and expects every printed page,
// in order, to be exactly what the reference gives for these settings.
korvotest::FilterResult printAndCompare(const std::string& ppd, const std::vector<korvotest::RasterPage>& pages,
                                        const pageref::JobSettings& settings, const std::string& extraOptions = "");

}  // namespace printedjob
