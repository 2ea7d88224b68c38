// SPDX-License-Identifier: Apache-2.0
// Spooler message lines on standard error.
#pragma once

// Levels index the prefix table: 0 and 1 "DEBUG:", 2 "WARN:", 3 "ERROR:",
// 4 "CRIT:", 5 "INVALID:".
enum KorvoLogLevel { KORVO_LOG_DEBUG = 0, KORVO_LOG_ERROR = 3, KORVO_LOG_CRIT = 4 };

// Writes the level's prefix, the formatted message and a newline to stderr.
// There is no level filter; a format ending in "\n" leaves an empty line.
void korvoLogCommon(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
