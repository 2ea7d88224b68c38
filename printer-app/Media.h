// SPDX-License-Identifier: Apache-2.0
// The media of the PPDs under PWG self-describing names, and the page size
// name the page processing looks up ("A4", "Letter", "Tattoo_A5",
// "Tattoo_A6" for the anti-wrinkle frame's canvas).
#pragma once

#include <span>

struct KorvoMedia {
    const char* pwgName;  // e.g. "iso_a4_210x297mm"
    const char* ppdName;  // e.g. "A4"
    bool labelModelsOnly;
};

std::span<const KorvoMedia> korvoMedia();

// The PPD name of a PWG media name; null for sizes the PPDs do not name
// (custom sizes).
const char* ppdSizeName(const char* pwgName);

// The custom size range, as PAPPL takes it in the media list.
extern const char* const kCustomMinimum;
extern const char* const kCustomMaximum;
