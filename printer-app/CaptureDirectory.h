// SPDX-License-Identifier: Apache-2.0
// Where the page processing saves its diagnostic page captures
// (origin_*.bmp, dithered_*.bmp): SPOOL/captures. The application never
// creates it; an administrator who wants captures creates it, writable by
// the service's user only, and removes it again.
#pragma once

#include <string>

void setCaptureDirectory(const std::string& spoolDirectory);
const std::string& captureDirectory();
