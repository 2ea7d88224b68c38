// SPDX-License-Identifier: Apache-2.0
// The backend's end of the spooler's side channel (fd 4), through libcups.
// Bidirectional support, the online state and the device ID are answered
// at once; a drain is left to the caller, which must first take in
// everything the filter has written; any other request is not implemented.
#pragma once

#include <string>

namespace virtualprinter {

class SideChannel {
public:
    explicit SideChannel(std::string deviceId);

    // The descriptor to wait on; -1 once the channel is closed.
    int fd() const;

    // Reads one request and answers it unless it is a drain; true for a
    // drain.
    bool serveRequest();
    void answerDrain();

private:
    std::string deviceId_;
    bool open_ = true;
};

}  // namespace virtualprinter
