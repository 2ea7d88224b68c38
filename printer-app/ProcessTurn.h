// SPDX-License-Identifier: Apache-2.0
// The page processing keeps process-wide state: the cancel flag the waits
// and the halftoning look at, the pending go-back feed, the capture
// numbering and the captures on their way to the disk. PAPPL prints one job
// at a time per printer, but several printers may print at once, so a job
// (or an idle status poll) takes the process's one turn for its whole
// length: jobs of other printers wait for it, still cancellable. The turn
// starts uncancelled with no feed pending; while it lasts, a job cancelled in
// PAPPL is cancelled for the page processing too, and so only that job is.
#pragma once

#include <pappl/pappl.h>

#include <mutex>
#include <thread>

class ProcessTurn {
public:
    // Waits for the turn until the job is cancelled; owns() tells which.
    explicit ProcessTurn(pappl_job_t* job);
    // Takes the turn only when it is free at once.
    explicit ProcessTurn(std::try_to_lock_t);
    ~ProcessTurn();
    ProcessTurn(const ProcessTurn&) = delete;
    ProcessTurn& operator=(const ProcessTurn&) = delete;

    bool owns() const { return lock_.owns_lock(); }

private:
    void start();

    std::unique_lock<std::timed_mutex> lock_;
    std::jthread cancelWatch_;  // stops before the lock is released
};
