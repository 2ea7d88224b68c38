// SPDX-License-Identifier: Apache-2.0
#include "common/KorvoCancel.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace {

volatile sig_atomic_t cancelled = 0;
int wakeUp[2] = {-1, -1};  // a self-pipe: the handler writes, waiters poll the read end

void drainWakeUp()
{
    char bytes[64];
    while (read(wakeUp[0], bytes, sizeof(bytes)) > 0) {
    }
}

}  // namespace

void korvoCancelReset()
{
    if (wakeUp[0] < 0 && pipe2(wakeUp, O_NONBLOCK | O_CLOEXEC) != 0) {
        wakeUp[0] = -1;
        wakeUp[1] = -1;
    }
    cancelled = 0;
    if (wakeUp[0] >= 0) {
        drainWakeUp();
    }
}

void korvoCancelJob()
{
    cancelled = 1;
    if (wakeUp[1] >= 0) {
        const char byte = 1;
        const ssize_t ignored = write(wakeUp[1], &byte, 1);
        (void)ignored;
    }
}

bool korvoJobCancelled()
{
    return cancelled != 0;
}

int korvoCancelFd()
{
    return wakeUp[0];
}
