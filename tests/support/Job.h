// SPDX-License-Identifier: Apache-2.0
// The one job builder of the process tests: pages, a copy of a PPD with its
// model name replaced, the job's options and how the filter runs.
#pragma once

#include <string>
#include <vector>

#include "FilterProcess.h"
#include "RasterFile.h"

namespace korvotest {

struct Job {
    std::string ppd = "korvr27.ppd";  // a shipped PPD, any by absolute path, or none: run.ppd
    std::string model = "TEST";       // its *ModelName: only R27, V315, K5 and Q6 are polled
    std::vector<RasterPage> pages;
    int times = 1;  // the pages are sent that many times over
    std::string options;
    bool rasterOnStdin = false;  // otherwise the raster file is the sixth argument
    FilterRun run;               // the rest; its PPD, options and raster come from above
};

// Writes the job's PPD and raster into a temporary directory and runs the
// filter on them.
FilterResult print(const Job& job);
// The jobs printed at the same time, each by a filter process of its own.
std::vector<FilterResult> printTogether(const std::vector<Job>& jobs);

}  // namespace korvotest
