// SPDX-License-Identifier: Apache-2.0
#include "PrinterCallbacks.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>

#include "DeviceLink.h"
#include "DeviceStream.h"
#include "Models.h"
#include "OndrelPrinter.h"
#include "ProcessTurn.h"

namespace {

// The printer's device, opened when the printer has no job at all; closed
// with the object. PAPPL 1.3 starts a job afresh each time it looks for work
// before the job's own thread has taken it, and closing the device looks for
// work: a poll between a job's release and its start would print it twice.
class IdleDevice {
public:
    explicit IdleDevice(pappl_printer_t* printer)
        : printer_(printer),
          device_(papplPrinterGetNumberOfActiveJobs(printer) == 0 ? papplPrinterOpenDevice(printer) : nullptr)
    {
    }
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

// The printers whose last idle poll went unanswered, until when they rest.
class QuietPrinters {
public:
    bool resting(pappl_printer_t* printer)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = until_.find(printer);
        return found != until_.end() && std::chrono::steady_clock::now() < found->second;
    }

    void heard(pappl_printer_t* printer, bool answered)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (answered) {
            until_.erase(printer);
        } else {
            until_[printer] = std::chrono::steady_clock::now() + kRest;
        }
    }

private:
    static constexpr std::chrono::seconds kRest{60};
    std::mutex mutex_;
    std::map<pappl_printer_t*, std::chrono::steady_clock::time_point> until_;
};

QuietPrinters& quietPrinters()
{
    static QuietPrinters printers;
    return printers;
}

}  // namespace

bool korvoStatus(pappl_printer_t* printer)
{
    const KorvoDriver* driver = findDriver(papplPrinterGetDriverName(printer));
    const ProcessTurn turn(std::try_to_lock);
    if (driver == nullptr || !turn.owns() || quietPrinters().resting(printer)) {
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
    const auto link = std::make_shared<DeviceLink>(device.get(), printer, nullptr);
    korvo.setStatusPolling(StatusPolling{1, std::chrono::milliseconds(0), link});
    korvo.WaitForPrinterStatus(kStatusReady);
    quietPrinters().heard(printer, link->answered());
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
