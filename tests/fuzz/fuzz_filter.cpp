// SPDX-License-Identifier: Apache-2.0
// fuzz_filter: whole jobs through runFilter, in process. An input is the job
// (FilterJob.h: PPD and options) followed by the raster stream, which the
// filter reads as its file argument from an in-memory file. Inputs beyond
// the limits of RasterLimits.h are skipped.
//
// The printer stream goes to /dev/null, the status wait is off (no polls,
// no channels), captures and the geometry log go to a private directory
// emptied after every job. Besides the sanitizers, one property is checked:
// no capture is larger than kMaxCaptureSide on a side.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "CaptureCheck.h"
#include "Filter.h"
#include "FilterJob.h"
#include "RasterLimits.h"
#include "ScratchDirectory.h"

namespace {

// What every job shares: set up on the first input, for the whole process.
class FilterFixture {
public:
    FilterFixture() : output_(fopen("/dev/null", "w")), raster_(memfd_create("raster", MFD_CLOEXEC))
    {
        if (output_ == nullptr || raster_ < 0) {
            throw std::runtime_error("cannot open /dev/null or an in-memory file");
        }
        environment_.statusPollLimit = 0;
        environment_.statusPollInterval = std::chrono::milliseconds(0);
        environment_.captureDirectory = scratch_.path();
        environment_.geometryLogPath = scratch_.path() + "/geometry.log";
        environment_.backChannelFd = -1;
        environment_.sideChannelFd = -1;
        environment_.output = output_;
    }
    ~FilterFixture()
    {
        fclose(output_);
        close(raster_);
    }
    FilterFixture(const FilterFixture&) = delete;
    FilterFixture& operator=(const FilterFixture&) = delete;

    void run(const FilterJob& job, const uint8_t* raster, size_t size)
    {
        if (ftruncate(raster_, 0) != 0 || pwrite(raster_, raster, size, 0) != static_cast<ssize_t>(size)) {
            abort();
        }
        setenv("PPD", job.ppdPath.c_str(), 1);
        std::vector<std::string> args = {
            "rastertokorvoppli", "1", "fuzz", "job", "1", job.options, "/proc/self/fd/" + std::to_string(raster_)};
        std::vector<char*> argv;
        for (std::string& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        runFilter(static_cast<int>(args.size()), argv.data(), environment_);
        fflush(output_);
        scratch_.clear(checkCapture);
    }

private:
    ScratchDirectory scratch_;
    FILE* output_;
    int raster_;
    FilterEnvironment environment_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < kFilterJobBytes) {
        return 0;
    }
    FuzzBytes bytes(data, size);
    const FilterJob job = decodeFilterJob(bytes, KORVO_FUZZ_PPD_DIR);
    const std::vector<cups_page_header2_t> headers = pageHeaders(bytes.rest(), bytes.restSize());
    if (!withinLimits(headers)) {
        return 0;
    }
    static FilterFixture fixture;
    fixture.run(job, bytes.rest(), bytes.restSize());
    return 0;
}
