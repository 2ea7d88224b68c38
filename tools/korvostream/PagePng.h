// SPDX-License-Identifier: Apache-2.0
// Pictures of printed pages: the dots of a decoded page as a PNG file.
#pragma once

#include <string>

#include "korvostream/KorvoStream.h"

namespace korvostream {

// Writes the page as a 1-bit gray PNG, printed dots black on white paper,
// rowBytes * 8 pixels wide. Returns false when the file cannot be written.
bool writePagePng(const Page& page, const std::string& path);

}  // namespace korvostream
