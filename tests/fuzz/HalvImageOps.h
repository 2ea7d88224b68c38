// SPDX-License-Identifier: Apache-2.0
// The tattoo toolkit operations of fuzz_image (ImageProgram.h).
#pragma once

#include "FuzzBytes.h"
#include "ImageProgram.h"
#include "dibimage/DibImage.h"
#include "halv/HalvImage.h"

// Runs `op` with its parameters; false when `op` is no toolkit operation.
bool runHalvImageOp(ImageOp op, FuzzBytes& params, HalvImage& image, const DibImage& a);
