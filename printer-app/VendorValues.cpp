// SPDX-License-Identifier: Apache-2.0
#include "VendorValues.h"

#include <string>

namespace {

// The value of a -default attribute as the job would give it.
std::string valueOf(ipp_attribute_t* attribute)
{
    switch (ippGetValueTag(attribute)) {
    case IPP_TAG_INTEGER:
        return std::to_string(ippGetInteger(attribute, 0));
    case IPP_TAG_BOOLEAN:
        return ippGetBoolean(attribute, 0) ? "true" : "false";
    default:
        return ippGetString(attribute, 0, nullptr) != nullptr ? ippGetString(attribute, 0, nullptr) : "";
    }
}

}  // namespace

VendorValues::VendorValues(pappl_printer_t* printer, const pappl_pr_options_t& options)
{
    pappl_pr_driver_data_t data;
    papplPrinterGetDriverData(printer, &data);
    ipp_t* attributes = papplPrinterGetDriverAttributes(printer);
    for (int i = 0; i < data.num_vendor; ++i) {
        const std::string name = std::string(data.vendor[i]) + "-default";
        if (ipp_attribute_t* fallback = ippFindAttribute(attributes, name.c_str(), IPP_TAG_ZERO)) {
            count_ = cupsAddOption(data.vendor[i], valueOf(fallback).c_str(), count_, &values_);
        }
    }
    ippDelete(attributes);
    for (int i = 0; i < options.num_vendor; ++i) {
        count_ = cupsAddOption(options.vendor[i].name, options.vendor[i].value, count_, &values_);
    }
}

VendorValues::~VendorValues()
{
    cupsFreeOptions(count_, values_);
}

pappl_pr_options_t VendorValues::applyTo(const pappl_pr_options_t& options) const
{
    pappl_pr_options_t merged = options;
    merged.num_vendor = count_;
    merged.vendor = values_;
    return merged;
}
