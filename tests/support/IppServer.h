// SPDX-License-Identifier: Apache-2.0
// IPP servers started for a test, in the foreground with their files in a
// temporary directory, stopped when the object goes and killed with the test
// process if that dies first: a private CUPS scheduler (printers under
// /printers/) or korvo-printer-app (under /ipp/print/, tests/printer-app).
// And the questions the tests ask them about their printers and jobs.
#pragma once

#include <cups/cups.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "FilterProcess.h"

namespace korvotest {

class IppServer {
public:
    // printers: the path the printers' names follow.
    explicit IppServer(std::string printers) : printers_(std::move(printers)) {}
    // Stops the server; one that has ended early has its last messages shown.
    ~IppServer();
    IppServer(const IppServer&) = delete;
    IppServer& operator=(const IppServer&) = delete;

    std::string printerUri(const std::string& printer) const { return "ipp://" + address_ + printers_ + printer; }
    // True when the server accepts a connection.
    bool listening() const;

    // An attribute of the job as text (ippAttributeString), empty when there
    // is none.
    std::string jobAttribute(const std::string& printer, int job, const char* name) const;
    ipp_jstate_t jobState(const std::string& printer, int job) const
    {
        return static_cast<ipp_jstate_t>(ippEnumValue("job-state", jobAttribute(printer, job, "job-state").c_str()));
    }
    // Waits up to the given seconds for the job to end (or stop); its state.
    ipp_jstate_t waitForJob(const std::string& printer, int job, double seconds) const;
    // Whether the printer's state reasons hold the reason, waiting up to the
    // given seconds for it.
    bool hasReason(const std::string& printer, const std::string& reason, double seconds = 0) const;

protected:
    // Runs exec in a child process, which receives SIGTERM when this process
    // ends, however it ends, and waits until the server at address_ listens.
    // The server's messages are in the file `messages`.
    void start(const std::function<void()>& exec, const std::string& messages);

    TempDir dir_;
    std::string address_;  // host:port

private:
    // Sends the operation on the printer (and the job, if not 0); the answer.
    ipp_t* ask(ipp_op_t operation, const std::string& printer, int job) const;

    std::string printers_;
    std::string messages_;
    int pid_ = -1;
};

// The private scheduler (scripts/private-cupsd.sh), 127.0.0.1 only, with the
// built virtual printer and the test program as the filter (its page
// captures and geometry log stay in the scheduler's directory).
class PrivateCupsd : public IppServer {
public:
    PrivateCupsd();

    // A file or directory inside the scheduler's own directory.
    std::string path(const std::string& name) const { return dir_.file(name); }

    // Runs a command line against this scheduler (CUPS_SERVER set): its exit
    // status, with the output in *output when given.
    int run(const std::string& commandLine, std::string* output = nullptr) const;

    // Submits a file as lp does; the job id, or 0.
    int submit(const std::string& queue, const std::string& file, const std::string& options) const;
};

// A test suite sharing one server, started and prepared by setUp (which
// says what failed, or nothing) before the first test and stopped after the
// last. A failure there would have Google Test skip the tests: it fails each
// test instead.
template <typename Server, std::string (*setUp)(Server&)>
class ServerSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        server = std::make_unique<Server>();
        problem = setUp(*server);
    }
    static void TearDownTestSuite() { server.reset(); }
    void SetUp() override { ASSERT_EQ(problem, ""); }

    static inline std::unique_ptr<Server> server;
    static inline std::string problem;
};

}  // namespace korvotest
