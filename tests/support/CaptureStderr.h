// SPDX-License-Identifier: Apache-2.0
// What a piece of code writes to standard error, for tests of log lines.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

// Runs fn with file descriptor 2 redirected and returns what was written to it.
inline std::string captureStderr(const std::function<void()>& fn)
{
    fflush(stderr);
    testing::internal::CaptureStderr();
    fn();
    fflush(stderr);
    return testing::internal::GetCapturedStderr();
}
