// SPDX-License-Identifier: Apache-2.0
// Page captures: the incoming and the processed page of every job are saved
// as BMP files for diagnosis, numbered by this process-wide counter.
#pragma once

#include <cstdint>

extern int64_t page_index;
