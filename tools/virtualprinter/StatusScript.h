// SPDX-License-Identifier: Apache-2.0
// What the virtual printer answers to the filter's status queries:
// comma-separated steps WORD[:COUNT], each answering the next COUNT queries
// (1 when not given), the last one for ever. WORD is "ready", "paperout"
// or "coveropen". Ready answers with the ready bit, and once a page has
// been printed also with the page-printed bit (the paper-out bit, which
// means "printed" to the filter's wait after a page), as the filter's two
// waits expect.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace virtualprinter {

enum class PrinterCondition { Ready, PaperOut, CoverOpen };

class StatusScript {
public:
    // Always ready.
    StatusScript();
    // Throws std::invalid_argument saying what is wrong with the text.
    explicit StatusScript(const std::string& text);

    // The status word for the next query; pagePrinted when a page has been
    // printed that no answer has reported yet.
    uint64_t next(bool pagePrinted);

    // Whether an answer tells the filter that the page has been printed.
    static bool reportsPrinted(uint64_t status);

private:
    struct Step {
        PrinterCondition condition;
        unsigned long count;
    };

    std::vector<Step> steps_;
    size_t step_ = 0;
    unsigned long answered_ = 0;
};

}  // namespace virtualprinter
