// SPDX-License-Identifier: Apache-2.0
#include "Job.h"

#include <memory>

namespace korvotest {

namespace {

// The job's PPD and raster written into dir, and the run that prints them.
FilterRun prepare(const Job& job, const TempDir& dir)
{
    writeRaster(dir.file("job.ras"), job.pages, job.times);
    FilterRun run = job.run;
    if (!job.ppd.empty()) {
        run.ppd = ppdWithModel(dir, job.ppd, job.model);
    }
    run.options = job.options;
    if (job.rasterOnStdin) {
        run.stdinFile = dir.file("job.ras");
    } else {
        run.rasterFile = dir.file("job.ras");
    }
    return run;
}

}  // namespace

FilterResult print(const Job& job)
{
    const TempDir dir;
    return runFilter(prepare(job, dir));
}

std::vector<FilterResult> printTogether(const std::vector<Job>& jobs)
{
    std::vector<std::unique_ptr<TempDir>> dirs;
    std::vector<FilterRun> runs;
    for (const Job& job : jobs) {
        dirs.push_back(std::make_unique<TempDir>());
        runs.push_back(prepare(job, *dirs.back()));
    }
    return runFiltersTogether(runs);
}

}  // namespace korvotest
