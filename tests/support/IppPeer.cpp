// SPDX-License-Identifier: Apache-2.0
#include "IppPeer.h"

#include <chrono>
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

bool IppPeer::listening() const
{
    http_t* http = connect(address_);
    httpClose(http);
    return http != nullptr;
}

ipp_t* IppPeer::ask(ipp_op_t operation, const std::string& printer, int job) const
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

int IppPeer::jobInteger(const std::string& printer, int job, const char* name) const
{
    ipp_t* response = ask(IPP_OP_GET_JOB_ATTRIBUTES, printer, job);
    ipp_attribute_t* attribute = ippFindAttribute(response, name, IPP_TAG_ZERO);
    const int value = attribute != nullptr ? ippGetInteger(attribute, 0) : -1;
    ippDelete(response);
    return value;
}

std::string IppPeer::jobText(const std::string& printer, int job, const char* name) const
{
    ipp_t* response = ask(IPP_OP_GET_JOB_ATTRIBUTES, printer, job);
    const char* text = ippGetString(ippFindAttribute(response, name, IPP_TAG_ZERO), 0, nullptr);
    const std::string value = text != nullptr ? text : "";
    ippDelete(response);
    return value;
}

ipp_jstate_t IppPeer::waitForJob(const std::string& printer, int job, double seconds) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    ipp_jstate_t state = jobState(printer, job);
    while (state < IPP_JSTATE_STOPPED && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        state = jobState(printer, job);
    }
    return state;
}

std::vector<std::string> IppPeer::printerReasons(const std::string& printer) const
{
    ipp_t* response = ask(IPP_OP_GET_PRINTER_ATTRIBUTES, printer, 0);
    ipp_attribute_t* reasons = ippFindAttribute(response, "printer-state-reasons", IPP_TAG_KEYWORD);
    std::vector<std::string> values;
    for (int i = 0; i < ippGetCount(reasons); ++i) {
        values.push_back(ippGetString(reasons, i, nullptr));
    }
    ippDelete(response);
    return values;
}

}  // namespace korvotest
