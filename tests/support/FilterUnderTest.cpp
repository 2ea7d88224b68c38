// SPDX-License-Identifier: Apache-2.0
// The filter with an environment chosen by the tests:
//
//   korvo-filter-under-test [--poll-limit=N] [--poll-interval-ms=N]
//       [--capture-dir=DIR] [--geometry-log=PATH] [--back-channel-fd=N]
//       [--side-channel-fd=N] job_id user title copies options [file]
//
// Settings not given keep the shipped values.
#include <cstdlib>
#include <cstring>
#include <string>

#include "Filter.h"

namespace {

// Takes "--name=value" into the environment; false for anything else.
bool takeSetting(const char* argument, FilterEnvironment& environment)
{
    const char* equals = strchr(argument, '=');
    if (strncmp(argument, "--", 2) != 0 || equals == nullptr) {
        return false;
    }
    const std::string name(argument + 2, equals);
    const char* value = equals + 1;
    if (name == "poll-limit") {
        environment.statusPollLimit = atoi(value);
    } else if (name == "poll-interval-ms") {
        environment.statusPollInterval = std::chrono::milliseconds(atoi(value));
    } else if (name == "capture-dir") {
        environment.captureDirectory = value;
    } else if (name == "geometry-log") {
        environment.geometryLogPath = value;
    } else if (name == "back-channel-fd") {
        environment.backChannelFd = atoi(value);
    } else if (name == "side-channel-fd") {
        environment.sideChannelFd = atoi(value);
    } else {
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char* argv[])
{
    FilterEnvironment environment;
    int first = 1;
    while (first < argc && takeSetting(argv[first], environment)) {
        ++first;
    }
    // The filter sees its own name followed by the spooler's arguments.
    argv[first - 1] = argv[0];
    return runFilter(argc - first + 1, argv + first - 1, environment);
}
