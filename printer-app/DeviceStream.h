// SPDX-License-Identifier: Apache-2.0
// A stdio stream whose bytes go to a PAPPL device through papplDeviceWrite,
// so that the printer object writes its packets to the device as the
// filter writes them to standard output. Closed with its owner.
#pragma once

#include <pappl/pappl.h>

#include <cstdio>

class DeviceStream {
public:
    explicit DeviceStream(pappl_device_t* device);
    ~DeviceStream();
    DeviceStream(const DeviceStream&) = delete;
    DeviceStream& operator=(const DeviceStream&) = delete;

    FILE* file() const { return file_; }
    // Flushes the stream; false when a write to the device failed.
    bool intact();

private:
    FILE* file_;
    bool failed_ = false;
};
