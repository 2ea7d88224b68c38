// SPDX-License-Identifier: Apache-2.0
#include "IppServer.h"

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

namespace korvotest {

namespace {

http_t* connect(const std::string& address)
{
    const size_t colon = address.rfind(':');
    return httpConnect2(address.substr(0, colon).c_str(), atoi(address.c_str() + colon + 1), nullptr, AF_UNSPEC,
                        HTTP_ENCRYPTION_NEVER, 1, 5000, nullptr);
}

}  // namespace

void IppServer::start(const std::function<void()>& exec, const std::string& messages)
{
    messages_ = messages;
    fflush(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        exec();
        _exit(127);
    }
    for (int i = 0; i < 200 && !listening(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
}

// PAPPL finishes its jobs before it stops; a test does not wait for that.
IppServer::~IppServer()
{
    int status = 0;
    if (pid_ <= 0) {
        return;
    }
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
        const std::string text = readText(messages_);
        fprintf(stderr, "The server ended before the test (status 0x%x); its last messages:\n%s\n", status,
                text.substr(text.size() > 4000 ? text.size() - 4000 : 0).c_str());
        return;
    }
    kill(pid_, SIGTERM);
    for (int i = 0; i < 40 && waitpid(pid_, nullptr, WNOHANG) == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (kill(pid_, SIGKILL) == 0) {
        waitpid(pid_, nullptr, 0);
    }
}

bool IppServer::listening() const
{
    http_t* http = connect(address_);
    httpClose(http);
    return http != nullptr;
}

ipp_t* IppServer::ask(ipp_op_t operation, const std::string& printer, int job) const
{
    ipp_t* request = ippNewRequest(operation);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, printerUri(printer).c_str());
    if (job != 0) {
        ippAddInteger(request, IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", job);
    }
    http_t* http = connect(address_);
    if (http == nullptr) {
        ippDelete(request);
        return nullptr;
    }
    ipp_t* response = cupsDoRequest(http, request, (printers_ + printer).c_str());
    httpClose(http);
    return response;
}

std::string IppServer::jobAttribute(const std::string& printer, int job, const char* name) const
{
    ipp_t* response = ask(IPP_OP_GET_JOB_ATTRIBUTES, printer, job);
    char text[1024] = "";
    ippAttributeString(ippFindAttribute(response, name, IPP_TAG_ZERO), text, sizeof(text));
    ippDelete(response);
    return text;
}

ipp_jstate_t IppServer::waitForJob(const std::string& printer, int job, double seconds) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    ipp_jstate_t state = jobState(printer, job);
    while (state < IPP_JSTATE_STOPPED && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        state = jobState(printer, job);
    }
    return state;
}

bool IppServer::hasReason(const std::string& printer, const std::string& reason, double seconds) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (;;) {
        ipp_t* response = ask(IPP_OP_GET_PRINTER_ATTRIBUTES, printer, 0);
        ipp_attribute_t* reasons = ippFindAttribute(response, "printer-state-reasons", IPP_TAG_KEYWORD);
        const bool found = reasons != nullptr && ippContainsString(reasons, reason.c_str()) != 0;
        ippDelete(response);
        if (found || std::chrono::steady_clock::now() >= end) {
            return found;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

PrivateCupsd::PrivateCupsd() : IppServer("/printers/")
{
    // cupsd runs filters as lp: the captures directory is open to it.
    const std::string captures = path("captures");
    mkdir(captures.c_str(), 0700);
    chmod(captures.c_str(), 01777);
    const std::string filter = path("filter");
    writeFile(filter, "#!/bin/sh\nexec '" KORVO_TEST_FILTER_BIN "' --capture-dir='" + captures + "' --geometry-log='" +
                          captures + "/geometry.log' \"$@\"\n");
    chmod(filter.c_str(), 0755);
    const int status =
        runShell("KORVO_FILTER='" + filter +
                     "' KORVO_BACKEND='" KORVO_BACKEND_BIN "' '" KORVO_SOURCE_DIR "/scripts/private-cupsd.sh' setup '" +
                     dir_.path() + "'",
                 &address_);
    address_.erase(address_.find_last_not_of('\n') + 1);
    if (status != 0) {
        throw std::runtime_error("private cupsd setup failed");
    }
    setenv("CUPS_SERVER", address_.c_str(), 1);
    cupsSetServer(address_.c_str());
    start(
        [this] {
            execlp("cupsd", "cupsd", "-f", "-c", path("cupsd.conf").c_str(), "-s", path("cups-files.conf").c_str(),
                   nullptr);
        },
        path("log/error_log"));
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
