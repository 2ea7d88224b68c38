// SPDX-License-Identifier: Apache-2.0
// Small text helpers of the SDK layer.
#pragma once

#include <cstddef>

// The part of path after its last '/' or '\\' (whichever is further right),
// the whole path when it has neither, null for null.
const char* korvoPathGetBasename(const char* path);

// Copies at most size - 1 characters of src, pads with NULs and always
// terminates dst. Returns dst.
char* korvoStrCpy(char* dst, const char* src, size_t size);
