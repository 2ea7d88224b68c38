// SPDX-License-Identifier: Apache-2.0
#include "Media.h"

#include <array>
#include <cstring>

namespace {

// The sizes of ppd/korvo.drv. PWG names a metric size of no standard
// "om_" and an inch size "oe_" (IPP Everywhere clients check the pattern).
const std::array<KorvoMedia, 10> kMedia = {{
    {"iso_a4_210x297mm", "A4", false},
    {"na_letter_8.5x11in", "Letter", false},
    {"om_tattoo-a5_210x148mm", "Tattoo_A5", false},
    {"om_tattoo-a6_105x148mm", "Tattoo_A6", false},
    {"oe_label-2x1_2x1in", "w144h72", true},
    {"na_index-4x6_4x6in", "w288h432", true},
    {"om_label-50x30_50x30mm", "Label_50x30mm", true},
    {"om_label-100x150_100x150mm", "Label_100x150mm", true},
    {"om_receipt-58_58x200mm", "Receipt_58mm", true},
    {"om_receipt-80_80x200mm", "Receipt_80mm", true},
}};

}  // namespace

// The PPDs' MinSize 36 x 36 and MaxSize 612 x 3600 points.
const char* const kCustomMinimum = "custom_min_0.5x0.5in";
const char* const kCustomMaximum = "custom_max_8.5x50in";

std::span<const KorvoMedia> korvoMedia()
{
    return kMedia;
}

const char* ppdSizeName(const char* pwgName)
{
    for (const KorvoMedia& media : kMedia) {
        if (strcmp(media.pwgName, pwgName) == 0) {
            return media.ppdName;
        }
    }
    return nullptr;
}
