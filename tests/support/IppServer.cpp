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

static http_t* connect(const std::string& address)
{
    const size_t colon = address.rfind(':');
    return httpConnect2(address.substr(0, colon).c_str(), atoi(address.c_str() + colon + 1), nullptr, AF_UNSPEC,
                        HTTP_ENCRYPTION_NEVER, 1, 5000, nullptr);
}

bool eventually(double seconds, const std::function<bool()>& done)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

void IppServer::start(const std::string& commandLine, const std::string& messages)
{
    messages_ = messages;
    fflush(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        execl("/bin/sh", "sh", "-c", ("exec " + commandLine).c_str(), nullptr);
        _exit(127);
    }
    if (!eventually(5, [this] {
            http_t* http = connect(address_);
            httpClose(http);
            return http != nullptr;
        })) {
        throw std::runtime_error("the server at " + address_ + " did not start");
    }
}

IppServer::~IppServer()
{
    int status = 0;
    if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_) {
        fprintf(stderr, "The server ended before the test (status 0x%x); its last messages:\n", status);
        runShell("tail -c 4000 '" + messages_ + "' >&2");
    } else if (pid_ > 0) {
        kill(pid_, SIGTERM);
        // PAPPL finishes its jobs before it stops; a test does not wait for that.
        if (!eventually(2, [this] { return waitpid(pid_, nullptr, WNOHANG) != 0; })) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
}

std::string IppServer::attribute(const std::string& printer, int job, const char* name) const
{
    http_t* http = connect(address_);
    if (http == nullptr) {  // cupsDoRequest would ask the default server instead
        return "";
    }
    ipp_t* request = ippNewRequest(job != 0 ? IPP_OP_GET_JOB_ATTRIBUTES : IPP_OP_GET_PRINTER_ATTRIBUTES);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, printerUri(printer).c_str());
    if (job != 0) {
        ippAddInteger(request, IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", job);
    }
    ipp_t* response = cupsDoRequest(http, request, (printers_ + printer).c_str());
    httpClose(http);
    char text[1024] = "";
    ippAttributeString(ippFindAttribute(response, name, IPP_TAG_ZERO), text, sizeof(text));
    ippDelete(response);
    return text;
}

ipp_jstate_t IppServer::waitForJob(const std::string& printer, int job, double seconds) const
{
    int state = 0;
    eventually(seconds, [&] {
        state = ippEnumValue("job-state", attribute(printer, job, "job-state").c_str());
        return state >= IPP_JSTATE_STOPPED;
    });
    return static_cast<ipp_jstate_t>(state);
}

bool IppServer::hasReason(const std::string& printer, const std::string& reason, double seconds) const
{
    return eventually(seconds, [&] { return countOf(attribute(printer, 0, "printer-state-reasons"), reason) > 0; });
}

PrivateCupsd::PrivateCupsd() : IppServer("/printers/")
{
    // The test program keeps its captures in the scheduler's tmp, not the system's spool.
    const std::string filter = path("filter");
    writeFile(filter, "#!/bin/sh\nexec '" KORVO_TEST_FILTER_BIN "' --capture-dir='" + path("tmp") +
                          "' --geometry-log='" + path("tmp/geometry.log") + "' \"$@\"\n");
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
    start("cupsd -f -c '" + path("cupsd.conf") + "' -s '" + path("cups-files.conf") + "'", path("log/error_log"));
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
