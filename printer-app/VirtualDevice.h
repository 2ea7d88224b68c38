// SPDX-License-Identifier: Apache-2.0
// The device scheme korvo-virtual:///DIR?status=SCRIPT&model=NAME: a printer
// played by the virtual printer library of the korvo-virtual backend (see
// korvo-virtual(8)). Each job's stream is kept as DIR/N/stream.bin with a
// picture of every printed page as DIR/N/page-M.png (N counts the jobs in
// DIR from 1); status queries are answered from the script, whose place is
// kept from one opening of the device to the next, as a printer's state
// is. A status poll alone leaves no files.
#pragma once

// Registers the scheme with PAPPL.
void addVirtualDeviceScheme();
