// SPDX-License-Identifier: Apache-2.0
#include "UsbAutoAdd.h"

#include <map>
#include <set>
#include <string>

#include "Models.h"

namespace {

constexpr int kLookInterval = 10;  // seconds
constexpr int kMaxSameModel = 9;

using Devices = std::map<std::string, std::string>;  // device URI -> device ID

bool collect(const char*, const char* uri, const char* deviceId, void* data)
{
    (*static_cast<Devices*>(data))[uri] = deviceId != nullptr ? deviceId : "";
    return false;  // go on listing
}

void ignoreError(const char*, void*)
{
}

void createPrinter(pappl_system_t* system, const KorvoDriver& driver, const std::string& uri,
                   const std::string& deviceId)
{
    const std::string base = std::string("Korvo ") + driver.model->name;
    for (int number = 1; number <= kMaxSameModel; ++number) {
        const std::string name = number == 1 ? base : base + " " + std::to_string(number);
        if (papplPrinterCreate(system, 0, name.c_str(), driver.name, deviceId.c_str(), uri.c_str()) != nullptr) {
            papplLog(system, PAPPL_LOGLEVEL_INFO, "Added the USB printer '%s' at '%s'.", name.c_str(), uri.c_str());
            return;
        }
    }
}

bool look(pappl_system_t* system, void* data)
{
    auto& known = *static_cast<std::set<std::string>*>(data);
    Devices devices;
    papplDeviceList(PAPPL_DEVTYPE_USB, collect, &devices, ignoreError, nullptr);
    std::set<std::string> present;
    for (const auto& [uri, deviceId] : devices) {
        present.insert(uri);
        const KorvoDriver* driver = driverForDeviceId(deviceId.c_str());
        if (driver != nullptr && known.count(uri) == 0 &&
            papplSystemFindPrinter(system, nullptr, 0, uri.c_str()) == nullptr) {
            createPrinter(system, *driver, uri, deviceId);
        }
    }
    known = present;
    return true;  // keep looking
}

}  // namespace

void addUsbPrintersAutomatically(pappl_system_t* system)
{
    static std::set<std::string> known;
    papplSystemAddTimerCallback(system, 0, kLookInterval, look, &known);
}
