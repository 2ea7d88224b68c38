// SPDX-License-Identifier: Apache-2.0
// The page geometry log ("/tmp/xxxxx.log" for the spooler's filter),
// rewritten with the geometry of every page. It lives in a shared
// directory, so it is written only into a regular file that the filter's
// own user owns or creates, never through a symbolic link.
#pragma once

#include <cups/raster.h>

#include <string>

void writeGeometryLog(const std::string& path, const cups_page_header2_t& header);
