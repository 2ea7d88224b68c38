// SPDX-License-Identifier: Apache-2.0
// The printer application's drivers: one per model and resolution, with the
// model facts the driver and the job need.
#pragma once

#include <pappl/pappl.h>

#include <span>

#include "common/DitherType.h"

struct KorvoModel {
    const char* name;  // as the status wait polls it: "R27", "V315", "K5", "Q6"
    bool stencil;      // a tattoo-stencil printer: anti-wrinkle frame, pre-feed
    DitherType defaultHalftone;
};

struct KorvoDriver {
    const char* name;  // PAPPL driver name, e.g. "korvo_r27_203"
    const char* description;
    const char* deviceId;  // IEEE-1284 device ID the driver matches
    const KorvoModel* model;
    int dpi;
};

// The driver of that name; null when there is none.
const KorvoDriver* findDriver(const char* name);

// The driver for a printer's IEEE-1284 device ID (MFG Korvo, MDL one of the
// four models; the label models at 203 dpi, their default resolution); null
// for any other printer.
const KorvoDriver* driverForDeviceId(const char* deviceId);

// The list PAPPL's main loop takes.
std::span<pappl_pr_driver_t> papplDriverList();
