// SPDX-License-Identifier: Apache-2.0
// PAPPL's driver callback: what a printer of each driver supports and its
// defaults, its callbacks, and the attributes PAPPL leaves to the driver.
#pragma once

#include <pappl/pappl.h>

bool korvoDriverSetup(pappl_system_t* system, const char* driverName, const char* deviceUri, const char* deviceId,
                      pappl_pr_driver_data_t* data, ipp_t** attributes, void* context);

// PAPPL's auto-add callback: the driver for a Korvo printer's device ID.
const char* korvoAutoAdd(const char* deviceInfo, const char* deviceUri, const char* deviceId, void* context);
