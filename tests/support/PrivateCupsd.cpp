// SPDX-License-Identifier: Apache-2.0
#include "PrivateCupsd.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "FilterProcess.h"

namespace korvotest {

namespace {

// Starts cupsd in the foreground as a child that receives SIGTERM when
// this process ends, however it ends.
int startCupsd(const std::string& directory)
{
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const std::string conf = directory + "/cupsd.conf";
        const std::string files = directory + "/cups-files.conf";
        execlp("cupsd", "cupsd", "-f", "-c", conf.c_str(), "-s", files.c_str(), nullptr);
        _exit(127);
    }
    return pid;
}

}  // namespace

PrivateCupsd::PrivateCupsd() : IppPeer("", "/printers/")
{
    char pattern[] = "/tmp/korvo-cupsd-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    directory_ = pattern;
    // cupsd runs filters as lp: the captures directory is open to it.
    const std::string captures = path("captures");
    mkdir(captures.c_str(), 0700);
    chmod(captures.c_str(), 01777);
    const std::string filter = path("filter");
    writeFile(filter, "#!/bin/sh\nexec '" + testFilter() + "' --capture-dir='" + captures + "' --geometry-log='" +
                          captures + "/geometry.log' \"$@\"\n");
    chmod(filter.c_str(), 0755);
    const int status =
        runShell("KORVO_FILTER='" + filter +
                     "' KORVO_BACKEND='" KORVO_BACKEND_BIN "' '" KORVO_SOURCE_DIR "/scripts/private-cupsd.sh' setup '" +
                     directory_ + "'",
                 &address_);
    while (!address_.empty() && address_.back() == '\n') {
        address_.pop_back();
    }
    if (status != 0) {
        throw std::runtime_error("private cupsd setup failed");
    }
    pid_ = startCupsd(directory_);
    setenv("CUPS_SERVER", address_.c_str(), 1);
    cupsSetServer(address_.c_str());
    for (int i = 0; i < 200 && run("lpstat -r | grep -q 'is running'") != 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
}

PrivateCupsd::~PrivateCupsd()
{
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

int PrivateCupsd::run(const std::string& commandLine, std::string* output) const
{
    return runShell("(export CUPS_SERVER=" + address_ + "; " + commandLine + ") 2>&1", output);
}

int PrivateCupsd::submit(const std::string& queue, const std::string& file, const std::string& options) const
{
    cups_option_t* list = nullptr;
    const int count = cupsParseOptions(options.c_str(), 0, &list);
    const int job = cupsPrintFile(queue.c_str(), file.c_str(), "korvo test", count, list);
    cupsFreeOptions(count, list);
    return job;
}

}  // namespace korvotest
