// SPDX-License-Identifier: Apache-2.0
// IPP servers run for a test with their files in a temporary directory,
// stopped when the object goes or the test process dies.
#pragma once

#include <cups/cups.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "FilterProcess.h"

namespace korvotest {

// True once done() is, asked every 50 ms (at least once) for the seconds.
bool eventually(double seconds, const std::function<bool()>& done);

class IppServer {
public:
    explicit IppServer(std::string printers) : printers_(std::move(printers)) {}  // the path before a name
    ~IppServer();  // shows the last messages of a server that ended early

    std::string printerUri(const std::string& printer) const { return "ipp://" + address_ + printers_ + printer; }
    // An attribute of the job, or of the printer when job is 0, as
    // ippAttributeString gives it; empty when there is none.
    std::string attribute(const std::string& printer, int job, const char* name) const;
    // The job's state once it has ended or stopped, or after the seconds.
    ipp_jstate_t waitForJob(const std::string& printer, int job, double seconds) const;
    // Whether printer-state-reasons holds the reason within the seconds.
    bool hasReason(const std::string& printer, const std::string& reason, double seconds = 0) const;

protected:
    // Runs the command line in a child that gets SIGTERM when this process
    // ends; waits until address_ listens (or throws). messages: its log file.
    void start(const std::string& commandLine, const std::string& messages);

    TempDir dir_;
    std::string address_;  // host:port

private:
    std::string printers_;
    std::string messages_;
    int pid_ = -1;
};

// The private scheduler of scripts/private-cupsd.sh, with the built backend
// and the test program as the filter; from then on this process's CUPS server.
class PrivateCupsd : public IppServer {
public:
    PrivateCupsd();

    // A file or directory inside the scheduler's own directory.
    std::string path(const std::string& name) const { return dir_.file(name); }
    // Submits a file as lp does; the job id, or 0.
    int submit(const std::string& queue, const std::string& file, const std::string& options) const;
};

// A suite sharing one server, prepared by setUp (which says what failed, or
// nothing); should that fail, each test fails rather than being skipped.
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
