// SPDX-License-Identifier: Apache-2.0
// A job's korvo-* values: those the job gives, else the printer's defaults
// (NAME-default, as the web interface or Set-Printer-Attributes set them).
// PAPPL 1.3 hands the driver only the job's own vendor values.
#pragma once

#include <pappl/pappl.h>

class VendorValues {
public:
    VendorValues(pappl_printer_t* printer, const pappl_pr_options_t& options);
    ~VendorValues();
    VendorValues(const VendorValues&) = delete;
    VendorValues& operator=(const VendorValues&) = delete;

    // The job's options with these values as its vendor options.
    pappl_pr_options_t applyTo(const pappl_pr_options_t& options) const;

private:
    int count_ = 0;
    cups_option_t* values_ = nullptr;
};
