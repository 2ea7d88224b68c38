// SPDX-License-Identifier: Apache-2.0
#include "StatusReasons.h"

#include "OndrelPrinter.h"

ReasonChange reasonsFor(long status, int awaited)
{
    const bool coverOpen = (status & kStatusCoverOpen) != 0;
    const bool paperOut = awaited == kStatusReady && (status & kStatusPaperOut) != 0;
    const bool ready = (status & kStatusReady) != 0;
    ReasonChange change;
    change.add = (coverOpen ? PAPPL_PREASON_COVER_OPEN : 0) | (paperOut ? PAPPL_PREASON_MEDIA_EMPTY : 0);
    change.remove = (coverOpen ? 0 : PAPPL_PREASON_COVER_OPEN) | (ready && !paperOut ? PAPPL_PREASON_MEDIA_EMPTY : 0);
    return change;
}
