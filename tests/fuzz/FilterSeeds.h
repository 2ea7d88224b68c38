// SPDX-License-Identifier: Apache-2.0
// The fuzz_filter seeds: small jobs of every kind (FilterJob.h selector bytes
// followed by a raster stream), and the printer streams the filter makes of
// some of them, which seed fuzz_stream.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

using Seeds = std::map<std::string, std::vector<uint8_t>>;

Seeds filterSeeds();

// The filter's printer stream for each job of `jobs` (name to fuzz_filter
// input) that prints at least one page in a few KB, run in process as
// fuzz_filter runs it.
Seeds streamsOf(const Seeds& jobs, const std::string& ppdDirectory);
