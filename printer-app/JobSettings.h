// SPDX-License-Identifier: Apache-2.0
// The filter's job settings record, filled from a PAPPL job's options
// instead of a PPD:
//
//   print-darkness, printer-darkness-configured -> Darkness (print density)
//   media-col's media-tracking                  -> PaperType
//   label-mode-configured                       -> PostAction, Occurrence
//   the korvo-* vendor attributes               -> halftone, brightness,
//                                                  contrast, rotation,
//                                                  mirror, negative,
//                                                  anti-wrinkle
#pragma once

#include <pappl/pappl.h>

#include "Models.h"
#include "Settings.h"

// The print density 1..15 for a job. The effective darkness is
// 2 x printer-darkness-configured - 100 + print-darkness, limited to
// -100..100, and maps linearly onto the PPD's three words: -100 = Light
// (1), 0 = Middle (8), 100 = Dark (15); density = 8 + 7 x d / 100, rounded
// half away from zero.
// The defaults (50 and 0) give Middle, the PPD's default.
int printDensity(int darknessConfigured, int printDarkness);

// PostAction and Occurrence for label-mode-configured: tear-off = TearOff
// after every page, cutter = Cut after every page, cutter-delayed = Cut
// after the job.
void applyLabelMode(pappl_label_mode_t mode, Settings& settings);

Settings jobSettings(const KorvoDriver& driver, const pappl_pr_options_t& options, pappl_label_mode_t labelMode);
