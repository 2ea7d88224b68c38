// SPDX-License-Identifier: Apache-2.0
// The DibImage operations of fuzz_image (ImageProgram.h).
#pragma once

#include "FuzzBytes.h"
#include "ImageProgram.h"
#include "dibimage/DibImage.h"

// Runs `op` with its parameters; false when `op` is no DibImage operation.
bool runDibImageOp(ImageOp op, FuzzBytes& params, DibImage& a, DibImage& b);
