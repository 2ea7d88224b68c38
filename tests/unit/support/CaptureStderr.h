// What a piece of code writes to standard error, for tests of log lines.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

// Runs fn with file descriptor 2 pointing at a temporary file and returns
// what was written to it.
inline std::string captureStderr(const std::function<void()>& fn)
{
    char path[] = "/tmp/korvo_stderr_testXXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) {
        ADD_FAILURE() << "mkstemp failed";
        return {};
    }
    unlink(path);
    fflush(stderr);
    const int saved = dup(2);
    dup2(fd, 2);
    fn();
    fflush(stderr);
    dup2(saved, 2);
    close(saved);

    std::string text;
    lseek(fd, 0, SEEK_SET);
    char buf[512];
    ssize_t n;
    while ((n = read(fd, buf, sizeof(buf))) > 0) {
        text.append(buf, static_cast<size_t>(n));
    }
    close(fd);
    return text;
}
