// SPDX-License-Identifier: Apache-2.0
// The job settings: the printer's PPD (named by the PPD environment
// variable) merged with the job's options.
#pragma once

#include <cups/ppd.h>

#include <cstdint>

#include "common/DitherType.h"

struct Settings {
    char ModelName[41];
    char PageSize[41];
    float pageWidth;   // millimetres
    float pageHeight;  // millimetres
    char Resolution[41];
    char MediaMethod[41];
    char PaperType[41];
    int32_t GapsHeight;
    char PostAction[41];
    char Occurrence[41];
    char Origin[41];
    int32_t MirrorImage;
    int32_t NegativeImage;
    int32_t Rotate180;
    int32_t AntiWrinkle;
    int32_t IsTattooPrinter;
    DitherType halftoneType;
    char PrintSpeed[41];
    int32_t Darkness;
    int32_t Brightness;
    int32_t Contrast;
    char DataOutputPath[256];
};

// Fills every field from the PPD defaults overridden by the job's options.
// A missing or unreadable PPD yields the defaults.
void parseSettings(Settings* settings, const char* options);

// The size of the PPD's chosen "PageSize" in millimetres, 0 x 0 if unknown.
void getPageWidthPageHeight(ppd_file_t* ppd, Settings* settings);
