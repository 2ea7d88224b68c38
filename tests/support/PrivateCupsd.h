// SPDX-License-Identifier: Apache-2.0
// A private CUPS scheduler for end-to-end tests (scripts/private-cupsd.sh):
// its own directory, 127.0.0.1 only, stopped when the object goes and
// killed with the test process if that dies first.
#pragma once

#include <string>

#include "IppPeer.h"

namespace korvotest {

class PrivateCupsd : public IppPeer {
public:
    // Prepares the scheduler with the built virtual printer and the test
    // program as the filter (its page captures and geometry log stay in the
    // scheduler's directory), starts it and waits until it answers.
    PrivateCupsd();
    ~PrivateCupsd();
    PrivateCupsd(const PrivateCupsd&) = delete;
    PrivateCupsd& operator=(const PrivateCupsd&) = delete;

    // A file or directory inside the scheduler's own directory.
    std::string path(const std::string& name) const { return directory_ + "/" + name; }

    // Runs a command line against this scheduler (CUPS_SERVER set): its exit
    // status, with the output in *output when given.
    int run(const std::string& commandLine, std::string* output = nullptr) const;

    // Submits a file as lp does; the job id, or 0.
    int submit(const std::string& queue, const std::string& file, const std::string& options) const;

private:
    std::string directory_;
    int pid_ = -1;
};

}  // namespace korvotest
