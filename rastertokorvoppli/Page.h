// SPDX-License-Identifier: Apache-2.0
// One raster page through the printer: the job settings and the page's
// geometry into the printer object, the page start sequence, reading the
// rows, and printing them between the two status waits.
#pragma once

#include <cups/raster.h>

#include <cstdio>

#include "OndrelPrinter.h"
#include "PageBuffer.h"
#include "Settings.h"

// The page's geometry into the settings, and every job setting into the
// printer.
void startPage(OndrelPrinter& printer, Settings& settings, cups_page_header2_t& header);

// 64 NUL bytes to the output alone, the job start sequence, the header log.
// pageCounter counts the pages printed so far.
void beginPage(OndrelPrinter& printer, Settings& settings, const cups_page_header2_t& header, int pageCounter,
               FILE* output);

// Reads the page's rows, one at a time, into the buffer. False when a row
// cannot be read (the stream ends early or the job is cancelled).
bool readPage(cups_raster_t* raster, const cups_page_header2_t& header, PageBuffer& page);

// Waits until the printer is ready, prints the page (pageNumber counts from
// 1) with its media action, and waits until it is printed. The pipeline
// takes the page's memory over, or has it given back as it copies the rows.
void printPage(OndrelPrinter& printer, const Settings& settings, const cups_page_header2_t& header, PageBuffer& page,
               int pageNumber);
