// SPDX-License-Identifier: Apache-2.0
#include "DeviceStream.h"

namespace {

struct Cookie {
    pappl_device_t* device;
    bool* failed;
};

ssize_t writeToDevice(void* cookie, const char* buffer, size_t size)
{
    const auto* target = static_cast<Cookie*>(cookie);
    if (papplDeviceWrite(target->device, buffer, size) != static_cast<ssize_t>(size)) {
        *target->failed = true;
        return -1;
    }
    return static_cast<ssize_t>(size);
}

int closeCookie(void* cookie)
{
    delete static_cast<Cookie*>(cookie);
    return 0;
}

}  // namespace

DeviceStream::DeviceStream(pappl_device_t* device)
{
    const cookie_io_functions_t functions{nullptr, writeToDevice, nullptr, closeCookie};
    file_ = fopencookie(new Cookie{device, &failed_}, "w", functions);
}

DeviceStream::~DeviceStream()
{
    if (file_ != nullptr) {
        fclose(file_);
    }
}

bool DeviceStream::intact()
{
    return file_ != nullptr && fflush(file_) == 0 && !failed_;
}
