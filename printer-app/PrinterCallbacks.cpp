// SPDX-License-Identifier: Apache-2.0
#include "PrinterCallbacks.h"

#include <memory>

#include "DeviceLink.h"
#include "DeviceStream.h"
#include "Models.h"
#include "OndrelPrinter.h"
#include "ProcessTurn.h"

namespace {

// The printer's device, opened when no job holds it; closed with the object.
class IdleDevice {
public:
    explicit IdleDevice(pappl_printer_t* printer) : printer_(printer), device_(papplPrinterOpenDevice(printer)) {}
    ~IdleDevice()
    {
        if (device_ != nullptr) {
            papplPrinterCloseDevice(printer_);
        }
    }
    IdleDevice(const IdleDevice&) = delete;
    IdleDevice& operator=(const IdleDevice&) = delete;

    pappl_device_t* get() const { return device_; }

private:
    pappl_printer_t* printer_;
    pappl_device_t* device_;
};

}  // namespace

bool korvoStatus(pappl_printer_t* printer)
{
    const KorvoDriver* driver = findDriver(papplPrinterGetDriverName(printer));
    const ProcessTurn turn(std::try_to_lock);
    if (driver == nullptr || !turn.owns()) {
        return false;
    }
    const IdleDevice device(printer);
    if (device.get() == nullptr) {
        return false;
    }
    DeviceStream stream(device.get());
    OndrelPrinter korvo;
    korvo.modelName = driver->model->name;
    korvo.getOutputStreams().assign({stream.file()});
    korvo.setStatusPolling(
        StatusPolling{1, std::chrono::milliseconds(0), std::make_shared<DeviceLink>(device.get(), printer, nullptr)});
    korvo.WaitForPrinterStatus(kStatusReady);
    return true;
}

void korvoIdentify(pappl_printer_t* printer, pappl_identify_actions_t, const char*)
{
    const ProcessTurn turn(std::try_to_lock);
    const IdleDevice device(printer);
    if (!turn.owns() || device.get() == nullptr) {
        return;
    }
    DeviceStream stream(device.get());
    OndrelPrinter korvo;
    korvo.getOutputStreams().assign({stream.file()});
    korvo.PrintControl(0);
    korvo.FeedPaper(3, 0);
    korvo.PrintControl(1);
}
