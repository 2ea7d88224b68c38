// SPDX-License-Identifier: Apache-2.0
// The printer's side of a job: reads the filter's stream as it comes,
// records it as stream.bin, answers status queries on the back channel and
// requests on the side channel, and draws every printed page.
//
// A drain request is answered only once everything the filter has written
// so far has been read and parsed, so the reply to a status query it sent
// before the drain is on the back channel before the drain's answer, as a
// real printer behind the usb backend answers. The printer waits in poll()
// and ends at the end of its input, whether the stream ended or the filter
// died.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "korvostream/PageSplitter.h"
#include "korvostream/Resolution.h"
#include "korvostream/StreamParser.h"
#include "virtualprinter/JobDirectory.h"
#include "virtualprinter/PreviewWriter.h"
#include "virtualprinter/PrinterSettings.h"
#include "virtualprinter/SideChannel.h"
#include "virtualprinter/StatusResponder.h"
#include "virtualprinter/UniqueFd.h"

namespace virtualprinter {

class VirtualPrinter {
public:
    VirtualPrinter(const PrinterSettings& settings, const JobDirectory& directory, UniqueFd streamFile, int inputFd);

    // Takes the job to the end of its input. Gives the framing error when
    // the stream does not decode; reading stops there, after what was read
    // has been recorded and its pages drawn. Throws std::runtime_error when
    // the input cannot be read or a file cannot be written.
    std::optional<korvostream::FramingError> run();

    size_t pages() const { return previews_.written(); }
    size_t bytes() const { return received_; }

private:
    bool running() const { return !inputEnded_ && !parser_.error(); }
    void serveSideChannel();
    void readAvailable();
    void readChunk();
    void record(const uint8_t* data, size_t size);
    void take(std::vector<korvostream::Item> items);
    void finish();

    int inputFd_;
    UniqueFd streamFile_;
    SideChannel sideChannel_;
    StatusResponder status_;
    PreviewWriter previews_;
    korvostream::StreamParser parser_;
    korvostream::ResolutionGuess resolution_;
    korvostream::PageSplitter splitter_;
    std::vector<uint8_t> chunk_;
    bool inputEnded_ = false;
    size_t received_ = 0;
};

}  // namespace virtualprinter
