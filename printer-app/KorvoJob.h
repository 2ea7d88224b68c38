// SPDX-License-Identifier: Apache-2.0
// What a job holds from its start to its end: the process turn, the
// printer object writing to the job's device, the settings, the current
// page's header and rows.
#pragma once

#include <pappl/pappl.h>

#include <string>

#include "DeviceStream.h"
#include "Models.h"
#include "OndrelPrinter.h"
#include "PageBuffer.h"
#include "ProcessTurn.h"
#include "Settings.h"

struct KorvoJob {
    KorvoJob(pappl_job_t* job, const KorvoDriver& driver, const pappl_pr_options_t& options, pappl_device_t* device);

    // Takes the page's header, its size named as the PPDs name it (from the
    // header's PWG name, else the job's media). Whether the page fits the
    // page buffer and the processing; the reason in *problem when not.
    bool acceptPage(const cups_page_header2_t& pageHeader, const char* jobMedia, std::string* problem);

    ProcessTurn turn;
    DeviceStream stream;
    OndrelPrinter printer;
    Settings settings;
    cups_page_header2_t header{};
    PageBuffer page;
    bool invertRows = false;  // the page arrives as gray (white 255): ink is 255 - value
    unsigned rowsReceived = 0;
    bool pageOpen = false;  // a page was accepted and has not ended
    int printedPages = 0;
};
