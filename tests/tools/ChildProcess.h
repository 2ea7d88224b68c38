// SPDX-License-Identifier: Apache-2.0
// A program started for a test with chosen descriptors and environment; it
// is killed and reaped when its owner goes, so that a failing test leaves
// nothing running.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace korvotest {

struct Launch {
    std::string program;
    std::vector<std::string> args;  // argv[1..]
    std::vector<std::pair<std::string, std::string>> env;
    std::map<int, int> fds;  // descriptor in the child -> the test's descriptor; others are closed
    std::string stdoutPath = "/dev/null";
    std::string stderrPath = "/dev/null";
    bool asSpoolUser = false;  // as lp when the test runs as root, as the spooler runs a backend
};

class ChildProcess {
public:
    explicit ChildProcess(const Launch& launch);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // The exit status; -1 when a signal ended it or it ran for 30 s.
    int wait();

private:
    pid_t pid_;
};

int runToEnd(const Launch& launch);

// Makes a directory of the test usable by a child that runs as lp.
void shareWithSpoolUser(const std::string& path);

}  // namespace korvotest
