// SPDX-License-Identifier: Apache-2.0
// The filter's whole job: arguments, settings, the page loop and the job
// end, as the spooler runs it with
//
//   rastertokorvoppli job_id user title copies options [file]
//
// The raster comes from the file or from standard input; the printer's
// byte stream goes to the environment's output, spooler messages to
// standard error. Returns the exit status (0 or 1).
#pragma once

#include "FilterEnvironment.h"

int runFilter(int argc, char* argv[], const FilterEnvironment& environment);
