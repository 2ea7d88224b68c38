// SPDX-License-Identifier: Apache-2.0
// How a virtual printer queue is set up: where previews go and, from the
// device URI's options, what the printer answers.
//
//   status=SCRIPT     status answers (see StatusScript.h); always ready
//   model=NAME        the model in the device ID; else the PPD's
//                     *ModelName, else K5
//   reply-size=BYTES  13 (the status reply alone, the default) to 1024: the
//                     reply padded with NUL bytes, as a device that answers
//                     with a full transfer does
#pragma once

#include <cstddef>
#include <string>

#include "virtualprinter/DeviceUri.h"
#include "virtualprinter/StatusScript.h"

namespace virtualprinter {

struct PrinterSettings {
    std::string directory;
    StatusScript script;
    std::string deviceId;
    size_t replySize = 13;
};

// Throws std::invalid_argument for an unknown or malformed option.
PrinterSettings settingsFor(const DeviceUri& uri, const char* ppdPath);

}  // namespace virtualprinter
