// SPDX-License-Identifier: Apache-2.0
// korvo-virtual: a CUPS backend that plays a Korvo printer and keeps what
// it is sent: the job's stream as DIR/JOBID/stream.bin and a preview of
// every printed page as DIR/JOBID/page-N.png. It answers the filter's
// status queries from a script, so that a queue can show how the filter
// deals with a printer out of paper or with its cover open.
//
//   korvo-virtual                                        (lists the device)
//   korvo-virtual job-id user title copies options [file]
//
// The device URI (DEVICE_URI, else argv[0]) is
// korvo-virtual:/DIR?status=SCRIPT&model=NAME&reply-size=BYTES, every
// option optional (see virtualprinter/PrinterSettings.h). It runs as the
// spooler's unprivileged user; DIR must be writable by that user.

#include <cups/backend.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

#include "virtualprinter/DeviceUri.h"
#include "virtualprinter/JobDirectory.h"
#include "virtualprinter/PrinterSettings.h"
#include "virtualprinter/UniqueFd.h"
#include "virtualprinter/VirtualPrinter.h"

namespace {

using virtualprinter::JobDirectory;
using virtualprinter::PrinterSettings;
using virtualprinter::UniqueFd;

std::string deviceUri(const char* argv0)
{
    const char* fromSpooler = getenv("DEVICE_URI");
    if (fromSpooler != nullptr) {
        return fromSpooler;
    }
    return strchr(argv0, ':') != nullptr ? argv0 : "";
}

// Started by hand, the backend may lack standard descriptors or the
// spooler's channels (fds 3 and 4): /dev/null stands in for each, so that
// no file the backend opens takes its number.
void holdSpoolerDescriptors()
{
    for (int fd = 0; fd <= 4; ++fd) {
        if (fcntl(fd, F_GETFD) != -1) {
            continue;
        }
        const int null = open("/dev/null", O_RDWR);
        if (null >= 0 && null != fd) {
            dup2(null, fd);
            close(null);
        }
    }
}

bool isJobId(const std::string& text)
{
    return !text.empty() && text.size() <= 10 && text.find_first_not_of("0123456789") == std::string::npos;
}

std::optional<PrinterSettings> settingsFrom(const std::string& uri)
{
    try {
        return virtualprinter::settingsFor(virtualprinter::parseDeviceUri(uri), getenv("PPD"));
    } catch (const std::invalid_argument& error) {
        fprintf(stderr, "ERROR: Bad device URI \"%s\": %s.\n", uri.c_str(), error.what());
        return std::nullopt;
    }
}

// The job's input: the file argument, or standard input.
std::optional<UniqueFd> openInput(const char* path)
{
    if (path == nullptr) {
        return UniqueFd();
    }
    UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file) {
        fprintf(stderr, "ERROR: Cannot open the print file %s: %s.\n", path, strerror(errno));
        return std::nullopt;
    }
    return file;
}

int printJob(const PrinterSettings& settings, const JobDirectory& directory, UniqueFd streamFile, int inputFd)
{
    virtualprinter::VirtualPrinter printer(settings, directory, std::move(streamFile), inputFd);
    const std::optional<korvostream::FramingError> error = printer.run();
    if (error) {
        fprintf(stderr, "ERROR: The printer stream does not decode at byte %zu: %s; what arrived is in %s.\n",
                error->offset, error->message.c_str(), directory.pathOf("stream.bin").c_str());
        return CUPS_BACKEND_FAILED;
    }
    fprintf(stderr, "INFO: Job done: %zu bytes, %zu printed %s, kept in %s\n", printer.bytes(), printer.pages(),
            printer.pages() == 1 ? "page" : "pages", directory.path().c_str());
    return CUPS_BACKEND_OK;
}

int runJob(const char* jobId, const char* printFile, const std::string& uri)
{
    const std::optional<PrinterSettings> settings = settingsFrom(uri);
    if (!settings) {
        return CUPS_BACKEND_STOP;
    }
    if (!isJobId(jobId)) {
        fprintf(stderr, "ERROR: Job ID \"%s\" is not a number.\n", jobId);
        return CUPS_BACKEND_FAILED;
    }
    std::optional<JobDirectory> directory;
    UniqueFd streamFile;
    try {
        directory.emplace(settings->directory, jobId);
        streamFile = directory->create("stream.bin");
    } catch (const std::runtime_error& error) {
        fprintf(stderr, "ERROR: Cannot keep previews: %s.\n", error.what());
        return CUPS_BACKEND_STOP;
    }
    std::optional<UniqueFd> input = openInput(printFile);
    if (!input) {
        return CUPS_BACKEND_FAILED;
    }
    try {
        return printJob(*settings, *directory, std::move(streamFile), *input ? input->get() : 0);
    } catch (const std::runtime_error& error) {
        fprintf(stderr, "ERROR: %s.\n", error.what());
        return CUPS_BACKEND_FAILED;
    }
}

}  // namespace

int main(int argc, char* argv[])
{
    holdSpoolerDescriptors();
    if (argc == 1) {
        puts("direct korvo-virtual \"Unknown\" \"Korvo virtual printer (page previews)\"");
        return CUPS_BACKEND_OK;
    }
    if (argc != 6 && argc != 7) {
        fputs("Usage: korvo-virtual job-id user title copies options [file]\n", stderr);
        return CUPS_BACKEND_FAILED;
    }
    // A filter that has gone away must not end the backend through a write
    // to its channels.
    signal(SIGPIPE, SIG_IGN);
    return runJob(argv[1], argc == 7 ? argv[6] : nullptr, deviceUri(argv[0]));
}
