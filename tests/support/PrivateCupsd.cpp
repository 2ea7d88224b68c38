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
#include <stdexcept>
#include <thread>

#include "FilterProcess.h"

namespace korvotest {

namespace {

std::string script(const std::string& command, const std::string& directory, const std::string& filter)
{
    return "KORVO_FILTER='" + filter +
           "' KORVO_BACKEND='" KORVO_BACKEND_BIN "' '" KORVO_SOURCE_DIR "/scripts/private-cupsd.sh' " + command + " '" +
           directory + "'";
}

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

PrivateCupsd::PrivateCupsd()
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
    const int status = runShell(script("setup", directory_, filter), &server_);
    while (!server_.empty() && server_.back() == '\n') {
        server_.pop_back();
    }
    if (status != 0) {
        throw std::runtime_error("private cupsd setup failed");
    }
    pid_ = startCupsd(directory_);
    setenv("CUPS_SERVER", server_.c_str(), 1);
    cupsSetServer(server_.c_str());
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
    const std::string command = "rm -rf '" + directory_ + "'";
    if (system(command.c_str()) != 0) {
        fprintf(stderr, "could not remove %s\n", directory_.c_str());
    }
}

int PrivateCupsd::run(const std::string& commandLine, std::string* output) const
{
    return runShell("(export CUPS_SERVER=" + server_ + "; " + commandLine + ") 2>&1", output);
}

int PrivateCupsd::submit(const std::string& queue, const std::string& file, const std::string& options) const
{
    cups_option_t* list = nullptr;
    const int count = cupsParseOptions(options.c_str(), 0, &list);
    const int job = cupsPrintFile(queue.c_str(), file.c_str(), "korvo test", count, list);
    cupsFreeOptions(count, list);
    return job;
}

ipp_t* PrivateCupsd::jobAttributes(int job) const
{
    ipp_t* request = ippNewRequest(IPP_OP_GET_JOB_ATTRIBUTES);
    const std::string uri = "ipp://" + server_ + "/jobs/" + std::to_string(job);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "job-uri", nullptr, uri.c_str());
    return cupsDoRequest(CUPS_HTTP_DEFAULT, request, "/");
}

ipp_jstate_t PrivateCupsd::jobState(int job) const
{
    ipp_t* response = jobAttributes(job);
    ipp_attribute_t* state = ippFindAttribute(response, "job-state", IPP_TAG_ENUM);
    const auto result = static_cast<ipp_jstate_t>(state != nullptr ? ippGetInteger(state, 0) : 0);
    ippDelete(response);
    return result;
}

int PrivateCupsd::jobImpressions(int job) const
{
    ipp_t* response = jobAttributes(job);
    ipp_attribute_t* count = ippFindAttribute(response, "job-impressions-completed", IPP_TAG_INTEGER);
    const int result = count != nullptr ? ippGetInteger(count, 0) : -1;
    ippDelete(response);
    return result;
}

ipp_jstate_t PrivateCupsd::waitForJob(int job, double seconds) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    ipp_jstate_t state = jobState(job);
    while (state < IPP_JSTATE_STOPPED && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        state = jobState(job);
    }
    return state;
}

std::vector<std::string> PrivateCupsd::printerReasons(const std::string& queue) const
{
    ipp_t* request = ippNewRequest(IPP_OP_GET_PRINTER_ATTRIBUTES);
    const std::string uri = "ipp://" + server_ + "/printers/" + queue;
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri.c_str());
    ipp_t* response = cupsDoRequest(CUPS_HTTP_DEFAULT, request, "/");
    std::vector<std::string> reasons;
    ipp_attribute_t* attribute = ippFindAttribute(response, "printer-state-reasons", IPP_TAG_KEYWORD);
    for (int i = 0; i < ippGetCount(attribute); ++i) {
        reasons.push_back(ippGetString(attribute, i, nullptr));
    }
    ippDelete(response);
    return reasons;
}

}  // namespace korvotest
