// SPDX-License-Identifier: Apache-2.0
// The job a fuzz_filter input asks for: its first kFilterJobBytes bytes pick
// one of the four built PPDs and, option by option, one of the option's
// choices or none (the PPD's default). The raster stream follows them.
#pragma once

#include <cstddef>
#include <string>

#include "FuzzBytes.h"

constexpr size_t kFilterJobBytes = 16;

struct FilterJob {
    std::string ppdPath;
    std::string options;   // "Name=Value Name=Value ..."
    bool stencil = false;  // the K5 or the Q6 PPD
};

// Reads kFilterJobBytes bytes.
FilterJob decodeFilterJob(FuzzBytes& bytes, const std::string& ppdDirectory);

