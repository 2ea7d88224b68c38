// SPDX-License-Identifier: Apache-2.0
// IPP servers started for a test, in the foreground with their files in a
// temporary directory, stopped when the object goes and killed with the test
// process if that dies first: a private CUPS scheduler (printers under
// /printers/) or korvo-printer-app (under /ipp/print/, tests/printer-app).
#pragma once

#include <cups/cups.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "FilterProcess.h"

namespace korvotest {

// True once done() is, asked every 50 ms for up to the given seconds (at
// least once).
bool eventually(double seconds, const std::function<bool()>& done);

class IppServer {
public:
    // printers: the path the printers' names follow.
    explicit IppServer(std::string printers) : printers_(std::move(printers)) {}
    ~IppServer();  // shows the last messages of a server that ended early
    IppServer(const IppServer&) = delete;
    IppServer& operator=(const IppServer&) = delete;

    std::string printerUri(const std::string& printer) const { return "ipp://" + address_ + printers_ + printer; }
    // An attribute of the job, or of the printer when job is 0, as
    // ippAttributeString gives it; empty when there is none.
    std::string attribute(const std::string& printer, int job, const char* name) const;
    // The job's state once it has ended or stopped, or after the given seconds.
    ipp_jstate_t waitForJob(const std::string& printer, int job, double seconds) const;
    // Whether the printer's state reasons hold the reason within the given seconds.
    bool hasReason(const std::string& printer, const std::string& reason, double seconds = 0) const;

protected:
    // Runs the shell command line in a child that gets SIGTERM when this
    // process ends, and waits until address_ listens (or throws). The
    // server's messages go to the file `messages`.
    void start(const std::string& commandLine, const std::string& messages);

    TempDir dir_;
    std::string address_;  // host:port

private:
    std::string printers_;
    std::string messages_;
    int pid_ = -1;
};

// The private scheduler (scripts/private-cupsd.sh) on 127.0.0.1, with the
// built virtual printer and the test program as the filter. It is the
// server of this process's CUPS clients (CUPS_SERVER) from then on.
class PrivateCupsd : public IppServer {
public:
    PrivateCupsd();

    // A file or directory inside the scheduler's own directory.
    std::string path(const std::string& name) const { return dir_.file(name); }
    // Submits a file as lp does; the job id, or 0.
    int submit(const std::string& queue, const std::string& file, const std::string& options) const;
};

// A suite sharing one server, started and prepared by setUp (which says
// what failed, or nothing) before the first test and stopped after the
// last. Google Test would skip the tests after a failure there: each fails.
template <typename Server, std::string (*setUp)(Server&)>
class ServerSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        try {
            server = std::make_unique<Server>();
            problem = setUp(*server);
        } catch (const std::exception& error) {
            problem = error.what();
        }
    }
    static void TearDownTestSuite() { server.reset(); }
    void SetUp() override { ASSERT_EQ(problem, ""); }

    static inline std::unique_ptr<Server> server;
    static inline std::string problem;
};

}  // namespace korvotest
