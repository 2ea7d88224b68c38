// SPDX-License-Identifier: Apache-2.0
// The virtual printer's device URI: korvo-virtual:/DIR?NAME=VALUE&...
// (korvo-virtual:///DIR is the same), with percent escapes decoded.
#pragma once

#include <map>
#include <string>

namespace virtualprinter {

struct DeviceUri {
    std::string directory;
    std::map<std::string, std::string> options;
};

// Throws std::invalid_argument saying what is wrong.
DeviceUri parseDeviceUri(const std::string& uri);

}  // namespace virtualprinter
