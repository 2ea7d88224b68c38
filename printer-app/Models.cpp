// SPDX-License-Identifier: Apache-2.0
#include "Models.h"

#include <array>
#include <cstring>
#include <string>

namespace {

const KorvoModel kR27{"R27", false, DITHER_NONE};
const KorvoModel kV315{"V315", false, DITHER_NONE};
const KorvoModel kK5{"K5", true, DITHER_TATTOO};
const KorvoModel kQ6{"Q6", true, DITHER_TATTOO_Q6};

const std::array<KorvoDriver, 6> kDrivers = {{
    {"korvo_r27_203", "Korvo R27, 203 dpi", "MFG:Korvo;MDL:R27;", &kR27, 203},
    {"korvo_r27_300", "Korvo R27, 300 dpi", "MFG:Korvo;MDL:R27;", &kR27, 300},
    {"korvo_v315_203", "Korvo V315, 203 dpi", "MFG:Korvo;MDL:V315;", &kV315, 203},
    {"korvo_v315_300", "Korvo V315, 300 dpi", "MFG:Korvo;MDL:V315;", &kV315, 300},
    {"korvo_k5_300", "Korvo K5", "MFG:Korvo;MDL:K5;", &kK5, 300},
    {"korvo_q6_300", "Korvo Q6", "MFG:Korvo;MDL:Q6;", &kQ6, 300},
}};

std::array<pappl_pr_driver_t, kDrivers.size()> makePapplList()
{
    std::array<pappl_pr_driver_t, kDrivers.size()> list{};
    for (size_t i = 0; i < kDrivers.size(); ++i) {
        list[i] = {kDrivers[i].name, kDrivers[i].description, kDrivers[i].deviceId, nullptr};
    }
    return list;
}

std::string idValue(int count, cups_option_t* pairs, const char* longKey, const char* shortKey)
{
    const char* value = cupsGetOption(longKey, count, pairs);
    if (value == nullptr) {
        value = cupsGetOption(shortKey, count, pairs);
    }
    return value != nullptr ? value : "";
}

}  // namespace

const KorvoDriver* findDriver(const char* name)
{
    for (const KorvoDriver& driver : kDrivers) {
        if (name != nullptr && strcmp(driver.name, name) == 0) {
            return &driver;
        }
    }
    return nullptr;
}

const KorvoDriver* driverForDeviceId(const char* deviceId)
{
    cups_option_t* pairs = nullptr;
    const int count = papplDeviceParseID(deviceId, &pairs);
    const std::string maker = idValue(count, pairs, "MANUFACTURER", "MFG");
    const std::string model = idValue(count, pairs, "MODEL", "MDL");
    cupsFreeOptions(count, pairs);
    if (maker != "Korvo") {
        return nullptr;
    }
    for (const KorvoDriver& driver : kDrivers) {
        if (model == driver.model->name) {
            return &driver;  // the first, and so the lowest, resolution
        }
    }
    return nullptr;
}

std::span<pappl_pr_driver_t> papplDriverList()
{
    static std::array<pappl_pr_driver_t, kDrivers.size()> list = makePapplList();
    return list;
}
