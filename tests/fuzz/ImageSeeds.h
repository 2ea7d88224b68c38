// SPDX-License-Identifier: Apache-2.0
// The fuzz_image seeds: programs (ImageProgram.h) that reach every operation
// at every depth.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// File name to input bytes.
std::map<std::string, std::vector<uint8_t>> imageSeeds();
