// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/StatusScript.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace virtualprinter {

namespace {

constexpr uint64_t kReady = 0x800000;
constexpr uint64_t kPaperOutOrPrinted = 0x80000;
constexpr uint64_t kCoverOpen = 0x10000;
constexpr unsigned long kMaxCount = 1000000;

PrinterCondition conditionNamed(const std::string& word)
{
    if (word == "ready") {
        return PrinterCondition::Ready;
    }
    if (word == "paperout") {
        return PrinterCondition::PaperOut;
    }
    if (word == "coveropen") {
        return PrinterCondition::CoverOpen;
    }
    throw std::invalid_argument("unknown status \"" + word + "\" (use ready, paperout or coveropen)");
}

unsigned long countOf(const std::string& text)
{
    char* end = nullptr;
    errno = 0;
    const unsigned long count = text.empty() || text[0] < '0' || text[0] > '9' ? 0 : strtoul(text.c_str(), &end, 10);
    if (count == 0 || count > kMaxCount || errno != 0 || *end != '\0') {
        throw std::invalid_argument("count \"" + text + "\" is not a number from 1 to " + std::to_string(kMaxCount));
    }
    return count;
}

}  // namespace

StatusScript::StatusScript() : steps_{{PrinterCondition::Ready, 1}}
{
}

StatusScript::StatusScript(const std::string& text)
{
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find(',', start), text.size());
        const std::string step = text.substr(start, end - start);
        const size_t colon = step.find(':');
        steps_.push_back(
            {conditionNamed(step.substr(0, colon)), colon == std::string::npos ? 1 : countOf(step.substr(colon + 1))});
        start = end + 1;
    }
}

uint64_t StatusScript::next(bool pagePrinted)
{
    const PrinterCondition condition = steps_[step_].condition;
    if (++answered_ == steps_[step_].count && step_ + 1 < steps_.size()) {
        ++step_;
        answered_ = 0;
    }
    switch (condition) {
    case PrinterCondition::Ready:
        return pagePrinted ? kReady | kPaperOutOrPrinted : kReady;
    case PrinterCondition::PaperOut:
        return kPaperOutOrPrinted;
    case PrinterCondition::CoverOpen:
        return kCoverOpen;
    }
    return kReady;
}

bool StatusScript::reportsPrinted(uint64_t status)
{
    return (status & kPaperOutOrPrinted) != 0;
}

}  // namespace virtualprinter
