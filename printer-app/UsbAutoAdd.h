// SPDX-License-Identifier: Apache-2.0
// Korvo printers on USB become printers of the server by themselves: every
// ten seconds it lists the USB printers, and one with a Korvo device ID
// (MFG:Korvo;MDL:R27; and so on, matched as the auto-add callback matches
// them) that has appeared since the last look and has no printer yet gets
// one, named after its model ("Korvo K5", "Korvo K5 2", ...). A printer an
// administrator deletes stays deleted until its device is plugged in again.
#pragma once

#include <pappl/pappl.h>

void addUsbPrintersAutomatically(pappl_system_t* system);
