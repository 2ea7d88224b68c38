// SPDX-License-Identifier: Apache-2.0
// PAPPL's raster callbacks, doing per page what the filter's page loop
// does (rastertokorvoppli/Filter.cpp) with the same library: the job
// settings from the job's attributes, the page start sequence, the rows
// into the page buffer, the page printed between the two status waits, the
// media action at the job's end. The printer stream goes to the job's
// device; the status wait reads the printer through PAPPL's device API.
#pragma once

#include <pappl/pappl.h>

bool korvoStartJob(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device);
bool korvoStartPage(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device, unsigned page);
bool korvoWriteLine(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device, unsigned y,
                    const unsigned char* line);
bool korvoEndPage(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device, unsigned page);
bool korvoEndJob(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device);

// A document in the printer's own byte stream (application/vnd.korvo-stream,
// as korvo-virtual keeps it in stream.bin) is sent as it is.
bool korvoPrintStream(pappl_job_t* job, pappl_pr_options_t* options, pappl_device_t* device);
