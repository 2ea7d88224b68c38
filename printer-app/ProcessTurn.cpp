// SPDX-License-Identifier: Apache-2.0
#include "ProcessTurn.h"

#include <chrono>

#include "OndrelPrinter.h"
#include "common/KorvoCancel.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kCancelCheck = 20ms;

std::timed_mutex& turnMutex()
{
    static std::timed_mutex mutex;
    return mutex;
}

void watchForCancel(const std::stop_token& stop, pappl_job_t* job)
{
    while (!stop.stop_requested()) {
        if (papplJobIsCanceled(job)) {
            korvoCancelJob();
            return;
        }
        std::this_thread::sleep_for(kCancelCheck);
    }
}

}  // namespace

ProcessTurn::ProcessTurn(pappl_job_t* job) : lock_(turnMutex(), std::defer_lock)
{
    while (!papplJobIsCanceled(job) && !lock_.try_lock_for(kCancelCheck)) {
    }
    if (owns()) {
        start();
        cancelWatch_ = std::jthread(watchForCancel, job);
    }
}

ProcessTurn::ProcessTurn(std::try_to_lock_t) : lock_(turnMutex(), std::try_to_lock)
{
    if (owns()) {
        start();
    }
}

ProcessTurn::~ProcessTurn() = default;

void ProcessTurn::start()
{
    korvoCancelReset();
    bNeedGoBack = 0;
}
