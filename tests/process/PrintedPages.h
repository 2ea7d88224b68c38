// SPDX-License-Identifier: Apache-2.0
// Printed pages compared dot by dot with the literal page reference.
#pragma once

#include <string>
#include <vector>

#include "Job.h"
#include "PageReference.h"

namespace korvotest {

// The job options of these settings (AntiWrinkle only when it is >= 0).
std::string optionsFor(const pageref::JobSettings& settings);

// Prints the job with the options of the settings after its own, expects
// every printed page, in order, to be exactly what the reference gives, and
// returns the printed pages.
std::vector<korvostream::Page> printAndCompare(Job job, const pageref::JobSettings& settings);

}  // namespace korvotest
