// SPDX-License-Identifier: Apache-2.0
// The application's own PNG filter. PAPPL 1.3's PNG filter loops for ever
// on some malformed PNG files (a read error it logs again and again, one
// core busy, the job never ending); this one reads the file with libpng's
// simplified API, which reports every error, and hands the picture to
// papplJobFilterImage as PAPPL's filter does. A file that cannot be read
// aborts its job with the reason in the job's message.
#pragma once

#include <pappl/pappl.h>

// The printer's own format, which PAPPL looks for a filter to before it
// falls back to its raster filters.
inline constexpr const char* kStreamFormat = "application/vnd.korvo-stream";

// Registers the filter from image/png to the printer's format.
void addPngFilter(pappl_system_t* system);
