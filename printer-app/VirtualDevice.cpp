// SPDX-License-Identifier: Apache-2.0
#include "VirtualDevice.h"

#include <pappl/pappl.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>

#include "VirtualSession.h"
#include "virtualprinter/DeviceUri.h"

namespace {

using virtualprinter::PrinterSettings;

// The state of every virtual printer in this process, by device URI.
std::shared_ptr<VirtualPrinterState> stateFor(const std::string& uri, const PrinterSettings& settings)
{
    static std::mutex mutex;
    static std::map<std::string, std::shared_ptr<VirtualPrinterState>> states;
    const std::lock_guard<std::mutex> lock(mutex);
    std::shared_ptr<VirtualPrinterState>& state = states[uri];
    if (!state) {
        state = std::make_shared<VirtualPrinterState>(settings);
    }
    return state;
}

VirtualSession* sessionOf(pappl_device_t* device)
{
    return static_cast<VirtualSession*>(papplDeviceGetData(device));
}

bool openDevice(pappl_device_t* device, const char* uri, const char*)
{
    try {
        const PrinterSettings settings = virtualprinter::settingsFor(virtualprinter::parseDeviceUri(uri), nullptr);
        papplDeviceSetData(device, new VirtualSession(stateFor(uri, settings)));
        return true;
    } catch (const std::invalid_argument& error) {
        papplDeviceError(device, "Bad device URI \"%s\": %s.", uri, error.what());
        return false;
    }
}

void closeDevice(pappl_device_t* device)
{
    try {
        sessionOf(device)->finish();
    } catch (const std::runtime_error& error) {
        papplDeviceError(device, "%s.", error.what());
    }
    delete sessionOf(device);
    papplDeviceSetData(device, nullptr);
}

ssize_t readDevice(pappl_device_t* device, void* buffer, size_t bytes)
{
    return static_cast<ssize_t>(sessionOf(device)->readReplies(static_cast<char*>(buffer), bytes));
}

ssize_t writeDevice(pappl_device_t* device, const void* buffer, size_t bytes)
{
    try {
        sessionOf(device)->write(static_cast<const uint8_t*>(buffer), bytes);
        return static_cast<ssize_t>(bytes);
    } catch (const std::runtime_error& error) {
        papplDeviceError(device, "%s.", error.what());
        return -1;
    }
}

pappl_preason_t deviceStatus(pappl_device_t* device)
{
    return sessionOf(device)->deviceReasons();
}

char* deviceId(pappl_device_t* device, char* buffer, size_t size)
{
    papplCopyString(buffer, sessionOf(device)->deviceId().c_str(), size);
    return buffer;
}

}  // namespace

void addVirtualDeviceScheme()
{
    // PAPPL registers its own schemes (usb, socket, dnssd, snmp, file) when
    // a device function first needs them, but not once another scheme has
    // been added: a question about one of its own registers them first.
    papplDeviceIsSupported("socket://localhost");
    papplDeviceAddScheme("korvo-virtual", PAPPL_DEVTYPE_CUSTOM_LOCAL, nullptr, openDevice, closeDevice, readDevice,
                         writeDevice, deviceStatus, deviceId);
}
