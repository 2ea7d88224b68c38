// SPDX-License-Identifier: Apache-2.0
// One opening of a korvo-virtual device: reads the stream as PAPPL writes
// it, answers status queries from the printer's script, keeps the job's
// stream and draws its pages (with the korvo-virtual backend's library).
#pragma once

#include <pappl/pappl.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "korvostream/PageSplitter.h"
#include "korvostream/Resolution.h"
#include "korvostream/StreamParser.h"
#include "virtualprinter/JobDirectory.h"
#include "virtualprinter/PrinterSettings.h"
#include "virtualprinter/StatusResponder.h"

// What a virtual printer keeps between openings: its settings, where its
// status script stands and the replies not yet read.
struct VirtualPrinterState {
    explicit VirtualPrinterState(const virtualprinter::PrinterSettings& printerSettings);
    VirtualPrinterState(const VirtualPrinterState&) = delete;
    VirtualPrinterState& operator=(const VirtualPrinterState&) = delete;

    const virtualprinter::PrinterSettings settings;
    std::mutex mutex;
    std::deque<char> replies;
    long lastStatus = 0;  // the status word of the last reply
    virtualprinter::StatusResponder responder;
};

class VirtualSession {
public:
    explicit VirtualSession(std::shared_ptr<VirtualPrinterState> state);

    // Takes bytes of the stream. Throws std::runtime_error when the job's
    // files cannot be written.
    void write(const uint8_t* data, size_t size);
    // Hands out status replies; 0 when there are none.
    size_t readReplies(char* buffer, size_t size);
    // The end of the stream: draws the pages. Throws std::runtime_error.
    void finish();
    const std::string& deviceId() const { return state_->settings.deviceId; }
    // The last reply as PAPPL's device status, which PAPPL also polls: an
    // open cover, and paper out when the reply lacks the ready bit.
    unsigned deviceReasons() const;

private:
    void record(const uint8_t* data, size_t size);
    void openJob();
    void take(std::vector<korvostream::Item> items);

    std::shared_ptr<VirtualPrinterState> state_;
    korvostream::StreamParser parser_;
    korvostream::ResolutionGuess resolution_;
    korvostream::PageSplitter splitter_;
    std::vector<korvostream::PageItems> pages_;
    std::vector<uint8_t> held_;  // the bytes before the job shows itself as more than status polls
    std::optional<virtualprinter::JobDirectory> directory_;
    virtualprinter::UniqueFd streamFile_;
};
