// SPDX-License-Identifier: Apache-2.0
// Cancelling a job the way CUPS filters do: the SIGTERM handler only marks
// the job cancelled; long loops and waits look at the mark and stop at the
// next safe point (between rows, packets and polls).
#pragma once

// Starts a job uncancelled. Not for signal handlers.
void korvoCancelReset();

// Marks the job cancelled and wakes every waiter. Async-signal-safe.
void korvoCancelJob();

bool korvoJobCancelled();

// A descriptor that becomes readable once the job is cancelled, so that a
// poll() on other descriptors can wait on it too.
int korvoCancelFd();
