// SPDX-License-Identifier: Apache-2.0
#include "Job.h"

namespace korvotest {

FilterResult print(const Job& job)
{
    TempDir dir;
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
    return runFilter(run);
}

}  // namespace korvotest
