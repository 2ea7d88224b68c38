// SPDX-License-Identifier: Apache-2.0
// korvo-printer-app's server for a test, on a free port of localhost, with
// its state, spool and virtual printers in its directory, run as an
// unprivileged user when the test runs as root (so that it keeps off the
// system's socket and state).
#pragma once

#include <string>
#include <vector>

#include "IppServer.h"

namespace korvotest {

class AppServer : public IppServer {
public:
    AppServer();

    std::string systemUri() const { return "ipp://" + address_ + "/ipp/system"; }
    // The directory a virtual printer of that name keeps its jobs in.
    std::string previews(const std::string& printer) const { return dir_.file("virtual-" + printer); }

    // Adds a printer with the driver on a virtual device; the script is
    // the device's status=... option, if any. True when it was added.
    bool addPrinter(const std::string& printer, const std::string& driver, const std::string& script = "");
    // korvo-printer-app SUBCOMMAND -u URI ARGS: its exit status and output.
    int command(const std::string& subcommand, const std::string& uri, const std::string& args,
                std::string* output = nullptr) const;
    // Submits a file with -o options; the job id, or 0.
    int submit(const std::string& printer, const std::string& file, const std::string& options) const;

    // The stream the printer's n-th job (from 1) left.
    std::vector<uint8_t> stream(const std::string& printer, int n) const;
    // The last bytes of the server's log, for a failing test to show.
    std::string logTail(size_t bytes = 8000) const;
};

}  // namespace korvotest
