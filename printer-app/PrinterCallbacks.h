// SPDX-License-Identifier: Apache-2.0
// The printer-level driver callbacks: the status poll of an idle printer
// and Identify-Printer.
#pragma once

#include <pappl/pappl.h>

// One status query when the printer is idle and the process's turn is
// free: paper out and an open cover show in printer-state-reasons (see
// StatusReasons.h). False when the poll could not be made. PAPPL polls from
// the request that asks for the printer's state, and a printer that does
// not answer makes it wait out PAPPL's read timeout (ten seconds on a
// socket): after a poll without an answer, the printer rests a minute.
bool korvoStatus(pappl_printer_t* printer);

// The printers have no light, sound or display: Identify-Printer feeds the
// paper to the tear bar, so that the printer shows itself by moving.
void korvoIdentify(pappl_printer_t* printer, pappl_identify_actions_t actions, const char* message);
