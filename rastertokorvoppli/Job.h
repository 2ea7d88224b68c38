// SPDX-License-Identifier: Apache-2.0
// The sequences that open every page and close the job, and the media
// actions (tear-off feed, feed and cut) chosen by the job settings.
#pragma once

#include "OndrelPrinter.h"
#include "Settings.h"

// PrintControl(0), the print density, PrintControl(1).
void jobSetup(OndrelPrinter* printer, Settings* settings);
// PrintControl(0), the job-end media action, PrintControl(1).
void jobEnd(OndrelPrinter* printer, Settings* settings);
// The media action after a page, when the settings ask for one every page.
void pageEndMediaAction(OndrelPrinter* printer, const Settings* settings);
