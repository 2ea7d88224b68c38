// SPDX-License-Identifier: Apache-2.0
// The questions the tests ask an IPP server about its printers and jobs:
// a private CUPS scheduler (printers under /printers/) or korvo-printer-app
// (under /ipp/print/).
#pragma once

#include <cups/cups.h>

#include <string>
#include <utility>
#include <vector>

namespace korvotest {

class IppPeer {
public:
    // address: "host:port"; printers: the path the printers' names follow.
    IppPeer(std::string address, std::string printers) : address_(std::move(address)), printers_(std::move(printers))
    {
    }

    std::string printerUri(const std::string& printer) const { return "ipp://" + address_ + printers_ + printer; }
    // True when the server accepts a connection.
    bool listening() const;

    // An integer or enum attribute of the job, -1 when there is none; a text
    // attribute, empty when there is none.
    int jobInteger(const std::string& printer, int job, const char* name) const;
    std::string jobText(const std::string& printer, int job, const char* name) const;
    ipp_jstate_t jobState(const std::string& printer, int job) const
    {
        return static_cast<ipp_jstate_t>(jobInteger(printer, job, "job-state"));
    }
    // Waits up to the given seconds for the job to end (or stop); its state.
    ipp_jstate_t waitForJob(const std::string& printer, int job, double seconds) const;
    std::vector<std::string> printerReasons(const std::string& printer) const;

protected:
    std::string address_;

private:
    // Sends the operation on the printer (and the job, if not 0); the answer.
    ipp_t* ask(ipp_op_t operation, const std::string& printer, int job) const;

    std::string printers_;
};

}  // namespace korvotest
