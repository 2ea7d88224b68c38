// SPDX-License-Identifier: Apache-2.0
// What the filter takes from the machine beyond its arguments and the PPD:
// the status polling pace, where the page captures and the page geometry
// log go, the spooler's back and side channels, and the printer stream.
// The defaults are those of a filter started by the spooler.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

struct FilterEnvironment {
    int statusPollLimit = 300;
    std::chrono::milliseconds statusPollInterval{1000};
    std::string captureDirectory = "/var/spool/cups/tmp";
    std::string geometryLogPath = "/tmp/xxxxx.log";
    int backChannelFd = 3;
    int sideChannelFd = 4;
    FILE* output = stdout;
};
