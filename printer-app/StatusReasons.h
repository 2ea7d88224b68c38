// SPDX-License-Identifier: Apache-2.0
// The printer's status word as printer-state-reasons. Bit 0x10000 is an
// open cover. Bit 0x80000 means paper out in the reply before a page and in
// an idle poll (the wait for kStatusReady), but "page printed" in the reply
// after a page (the wait for kStatusPaperOut): only the first sets
// media-empty, so a healthy printer never shows paper-out between pages.
// A reply with the ready bit clears what it does not report.
#pragma once

#include <pappl/pappl.h>

struct ReasonChange {
    pappl_preason_t add = PAPPL_PREASON_NONE;
    pappl_preason_t remove = PAPPL_PREASON_NONE;
};

ReasonChange reasonsFor(long status, int awaited);
