// SPDX-License-Identifier: Apache-2.0
// A job in a few lines, for the end of a listing: the resolution and how
// it was found, each printed page's image size in dots and millimetres,
// the feeds by mode, cuts, print densities and status queries.
#pragma once

#include <string>
#include <vector>

#include "korvostream/KorvoStream.h"
#include "korvostream/Resolution.h"

namespace korvostream {

std::vector<std::string> summaryLines(const Stream& stream, const Resolution& resolution);

}  // namespace korvostream
